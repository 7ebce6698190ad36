"""The manual pages as man shows them."""

import functools
import re
import unittest

from built import ROOT, SHARE, VERSION, help_of, said

PAGES = sorted((SHARE / "man" / "man1").glob("*.1"))
COMMANDS = ["velkmtx", "velkmtx make", "velkmtx join", "velkmtx mesh", "velkmtx model", "velkmtx info", "velkmtx check",
            "velkmtx import", "velkmtx import stations", "velkmtx import terrain", "velkmtx export", "velkmtx export data",
            "velkmtx export model", "velkmtx report"]


@functools.cache
def shown(name):
    """The page as text, in lines as long as they come, with no hyphenation."""
    text = said("man", "--nh", "--nj", "-l", SHARE / "man" / "man1" / f"{name}.1", MANWIDTH="500", LC_ALL="C.UTF-8",
                MANOPT="", MAN_KEEP_FORMATTING="")
    return re.sub(r"\s+", " ", text)


class Manual(unittest.TestCase):
    def test_every_page_is_shown_without_a_warning(self):
        self.assertTrue(said("man", "--warnings", "-E", "UTF-8", "-l", "-Tutf8", "-Z", *PAGES, LC_ALL="C.UTF-8", MANWIDTH="80"))

    def test_every_program_and_subcommand_has_a_page(self):
        names = {page.stem for page in PAGES}
        self.assertLessEqual({command.replace(" ", "-") for command in COMMANDS} | {"velkrund", "velkrund-mpi", "velkmtx-mpi"}, names)

    def test_a_page_says_every_word_of_the_help(self):
        """Words alone: what is a list in the one is laid out otherwise in the other."""
        for command in COMMANDS:
            page = shown(command.replace(" ", "-")).lower()
            layout = {"usage", "example", "examples", "-h,--help", "positionals"}
            words = {word.strip(".") for word in re.findall(r"[\w,.%/()'-]+", help_of(command).lower())} - layout
            self.assertEqual([word for word in words if word not in page], [], command)

    def test_every_page_named_is_there(self):
        names = {page.stem for page in PAGES} | {"mpirun"}
        for page in PAGES:
            self.assertLessEqual(set(re.findall(r"([a-z][a-z-]*)\(1\)", shown(page.stem))), names, page.name)

    def test_a_page_tells_version_usage_and_status(self):
        page = shown("velkmtx-make")
        self.assertIn(f"VELKO {VERSION}", page)
        self.assertIn("NAME velkmtx-make - makes the sensitivity file of a survey SYNOPSIS velkmtx make [OPTIONS] MESH", page)
        self.assertIn("EXAMPLES The matrix of survey.loc over the cells of survey.mesh below terrain.topo: velkmtx make", page)
        self.assertIn("EXIT STATUS 0 when it did what it was asked, 1 when", page)

    def test_text_survives_the_signs_that_mean_something_to_man(self):
        import manual_pages
        self.assertEqual(manual_pages.words(".so \\fB a-b"), "\\&.so \\efB a\\-b")
        self.assertEqual(manual_pages.words("'tis --so"), "\\&'tis \\fB\\-\\-so\\fR")


if __name__ == "__main__":
    unittest.main()
