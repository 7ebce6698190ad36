"""The completions, asked as the shells ask them."""

import subprocess
import unittest

from built import SHARE, said

BASH, ZSH = SHARE / "bash-completion" / "completions", SHARE / "zsh" / "vendor-completions"
# compopt works inside of a completion alone: the test takes its place, and shows that files were asked for.
ASK_BASH = """set -u
compopt() { echo "compopt $*"; }
source "$0"
COMP_WORDS=("$@") COMP_CWORD=$(($# - 1))
$(complete -p "$1" | sed 's/.*-F \\([^ ]*\\) .*/\\1/')
printf '%s\\n' "${COMPREPLY[@]}"
"""
ASK_ZSH = """_arguments() { print -rl -- "$@"; }
_describe() { print -rl -- "${(@P)2}"; }
file=$1; shift
words=("$@"); CURRENT=$#
source $file
"""
SUBCOMMANDS = ["make", "join", "mesh", "model", "info", "check", "import", "export", "report"]


def bash(line):
    """What bash offers for the last word of a line, which a blank at its end leaves empty."""
    words = line.split(" ")
    return said("bash", "--norc", "-c", ASK_BASH, BASH / words[0], *words).split("\n")[:-1]


def zsh(line):
    words = line.split(" ")
    return said("zsh", "-f", "-c", ASK_ZSH, "zsh", ZSH / f"_{words[0]}", *words).split("\n")[:-1]


class Bash(unittest.TestCase):
    def test_subcommands(self):
        self.assertEqual(bash("velkmtx ")[: len(SUBCOMMANDS)], SUBCOMMANDS)
        self.assertEqual(bash("velkmtx m"), ["make", "mesh", "model"])
        self.assertEqual(bash("velkmtx import "), ["stations", "terrain"])
        self.assertEqual(bash("velkmtx import s"), ["stations"])

    def test_options_of_the_subcommand(self):
        self.assertEqual(bash("velkmtx make a.mesh --w"), ["--wavelet", "--weights"])
        self.assertEqual(bash("velkmtx import terrain o.topo --from"), ["--from-stations"])
        self.assertEqual(bash("velkmtx export data --m"), [""])
        self.assertIn("--version", bash("velkmtx --"))

    def test_choices_of_an_option(self):
        self.assertEqual(bash("velkmtx make --wavelet s"), ["s8", "s10", "s12"])
        self.assertEqual(bash("velkmtx make --weights d"), ["depth", "depth-volume"])

    def test_numbers_are_the_user_s(self):
        self.assertEqual(bash("velkmtx make --tolerance "), [""])

    def test_files_for_arguments_and_options_of_files(self):
        for line in ("velkmtx make ", "velkmtx make survey.mesh nu", "velkmtx mesh --locations ", "velkmtx check a.mtx "):
            self.assertEqual(bash(line), ["compopt -o default", ""], line)

    def test_file_that_is_called_like_a_subcommand_leads_nowhere_else(self):
        self.assertEqual(bash("velkmtx mesh model --fa"), ["--factor"])

    def test_program_over_ranks_has_the_same(self):
        self.assertEqual(bash("velkmtx-mpi make --wavelet h"), ["haar"])


class Zsh(unittest.TestCase):
    def test_subcommands_with_what_they_do(self):
        self.assertIn("make:makes the sensitivity file of a survey", zsh("velkmtx "))
        self.assertEqual([line.partition(":")[0] for line in zsh("velkmtx import ")], ["stations", "terrain"])

    def test_options_with_what_they_are(self):
        asked = zsh("velkmtx make --wav")
        self.assertIn("--dense[write every value of G, without compression; none of those above]", asked)
        self.assertTrue([line for line in asked if line.startswith("--weights[") and line.endswith(":KIND:(none depth volume depth-volume)")])
        self.assertIn("*:file:_files", asked)

    def test_values_that_are_files(self):
        self.assertTrue([line for line in zsh("velkmtx import terrain ") if line.startswith("--mesh[") and line.endswith(":FILE:_files")])

    def test_shells_read_their_files(self):
        for shell, folder in (("bash", BASH), ("zsh", ZSH)):
            for file in folder.iterdir():
                said(shell, "-n", file)
                self.assertNotIn("'$", file.read_text().partition("\n")[0])


if __name__ == "__main__":
    unittest.main()
