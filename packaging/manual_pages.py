"""Writes the manual pages of programs: what their --help says, and the sections of manual.toml.

Usage: manual_pages.py FOLDER VERSION PROGRAM ...    pages that no PROGRAM has a help for are manual.toml's alone
"""

import pathlib
import re
import sys
import tomllib

import help_text

ORDER = ["DESCRIPTION", "ARGUMENTS", "OPTIONS", "SUBCOMMANDS", "EXAMPLES", "EXIT STATUS", "ENVIRONMENT", "FILES", "SEE ALSO"]


def escaped(text):
    return text.replace("\\", "\\e").replace("-", "\\-")


def bold(text):
    return f"\\fB{escaped(text)}\\fR"


def words(text):
    """A paragraph, with options and other pages in bold."""
    parts = re.split(r"((?<![\w-])--[a-z][a-z0-9-]+|\b[a-z-]+(?=\(\d\)))", text)
    line = "".join(bold(part) if place % 2 else escaped(part) for place, part in enumerate(parts))
    return "\\&" + line if line.startswith((".", "'")) else line


def blocks(lines):
    """Paragraphs and indented blocks, each a list of lines."""
    block = []
    for line in [*lines, ""]:
        if block and (not line or line.startswith("  ") != block[0].startswith("  ")):
            yield block
            block = []
        if line:
            block.append(line)


def as_roff(all_blocks):
    for block in all_blocks:
        if block[0].startswith("  "):
            yield from [".PP", ".RS 2", ".EX", *("\\&" + escaped(line[2:]) for line in block), ".EE", ".RE"]
        else:
            yield from [".PP", words(" ".join(block))]


def split_examples(lines):
    """The blocks that are commands of ours, each behind the paragraph that announces it, and the others."""
    examples, others = [], []
    for block in blocks(lines):
        if not block[0].startswith("  velk"):
            others.append(block)
            continue
        if others and others[-1][-1].endswith(":"):
            examples.append(others.pop())
        examples.append(block)
    if examples:
        examples[0][0] = re.sub(r"^Examples?: (.)", lambda found: found.group(1).upper(), examples[0][0])
    return examples, others


def listed(entries):
    for one in entries:
        names = ", ".join(bold(name) if name.startswith("-") else f"\\fI{escaped(name)}\\fR" for name in one.names)
        yield from [".TP", f"{names} \\fI{escaped(one.value)}\\fR" if one.value else names, words(one.text)]


def page_name(command):
    return "-".join(command)


def subcommand_list(said):
    for one in said.subcommands:
        yield from [".TP", f"\\fB{escaped(page_name(one.command))}\\fR(1)", words(one.what)]


def of_help(said):
    """The sections of a page that the help of its program fills."""
    examples, notes = split_examples(said.notes)
    return {"DESCRIPTION": list(as_roff(notes)), "ARGUMENTS": list(listed(said.arguments)),
            "OPTIONS": list(listed(said.options)), "SUBCOMMANDS": list(subcommand_list(said)),
            "EXAMPLES": list(as_roff(examples))}


def of_text(told):
    return {title: list(as_roff(blocks(text.splitlines()))) for title, text in told.items() if title.isupper()}


def page(name, what, synopsis, sections, version):
    """Without a date, so that a build can be repeated to the byte."""
    lines = [f'.TH {name.upper()} 1 "" "VELKO {version}" "VELKO"', ".SH NAME", f"{escaped(name)} \\- {escaped(what)}",
             ".SH SYNOPSIS", synopsis]
    for title in ORDER:
        if body := [line for part in sections for line in part.get(title, [])]:
            lines += [f".SH {title}", *(body[1:] if body[0] == ".PP" else body)]
    return "\n".join(lines) + "\n"


def see_also(name, names):
    """The page above, those beside and below, and velkrund, for which everything is made."""
    above = name.rpartition("-")[0]
    near = {above, "velkrund"} | {other for other in names if other.rpartition("-")[0] in (above, name)}
    pages = sorted((near & set(names)) - {name})
    return {"SEE ALSO": [", ".join(f"\\fB{escaped(other)}\\fR(1)" for other in pages)]}


def write(folder, version, helps):
    manual = tomllib.loads((pathlib.Path(__file__).parent / "manual.toml").read_text())
    commands = {page_name(one.command): one for said in helps for one in said.all()}
    names = [*commands, *(name for name, told in manual.items() if "what" in told)]
    for name in names:
        told, near = manual.get(name, {}), see_also(name, names)
        if said := commands.get(name):
            suite = manual.get(said.command[0], {}).get("every page", {})
            parts, what = [of_text(told), of_help(said), of_text(suite), near], said.what
            synopsis = f"{bold(said.name)} {escaped(said.usage)}"
        else:
            parts, what = [of_text(told), near], told["what"]
            synopsis = f"{bold(name)} {escaped(told['usage'])}"
        (folder / f"{name}.1").write_text(page(name, what, synopsis, parts, version))


def main():
    folder, version, *programs = sys.argv[1:]
    pathlib.Path(folder).mkdir(parents=True, exist_ok=True)
    helps = [help_text.read(program, [pathlib.Path(program).name]) for program in programs]
    write(pathlib.Path(folder), version, helps)


if __name__ == "__main__":
    main()
