"""Writes the completions of programs for bash and zsh, from what their --help says.

Usage: completions.py BASH_FOLDER ZSH_FOLDER PROGRAM ...

After an option whose value is a FILE, and for arguments, the names of files are offered; after one of CHOICES its words.
"""

import pathlib
import sys

import help_text

CHOICES = {"--wavelet": "haar d4 d6 d8 d10 d12 s8 s10 s12", "--weights": "none depth volume depth-volume",
           "--above": "sea ellipsoid ground"}
ALSO_FOR = {"velkmtx": ["velkmtx-mpi"]}


def choices(option):
    """A choice that the help does not name, or names by its ends alone, is not one any more."""
    offered = CHOICES.get(option.names[-1], "")
    if missing := [word for word in offered.split() if word not in option.text]:
        sys.exit(f"completions.py: the help of {option.names[-1]} says nothing of {' '.join(missing)}")
    return offered


def names_of(said):
    return [said.command[0], *ALSO_FOR.get(said.command[0], [])]


def function_of(said):
    return "_" + said.command[0].replace("-", "_")


def steps(said):
    """The words that lead to a subcommand, as patterns of a case; one that nothing matches where there is none."""
    return " | ".join(f'"{one.name}"' for one in said.all() if len(one.command) > 1) or '""'


def of_a_word(one):
    """(option, its names as "velkmtx make --wavelet") of the options whose value is a word, no file."""
    for option in one.options:
        if option.value not in ("", "FILE"):
            yield option, [f'"{one.name} {name}"' for name in option.names]


def bash_values(said):
    """An option whose value is a word ends the search: with its choices, or with nothing."""
    free = []
    for one in said.all():
        for option, names in of_a_word(one):
            if words := choices(option):
                yield f"""    {' | '.join(names)}) COMPREPLY=($(compgen -W "{words}" -- "$word")); return ;;"""
            else:
                free.extend(names)
    if free:
        yield "    " + " |\\\n      ".join(free) + ") return ;;"


def bash_command(one):
    options = " ".join(name for option in one.options for name in option.names if name.startswith("--"))
    subcommands = " ".join(below.command[-1] for below in one.subcommands)
    return f'    "{one.name}") options="{options}" subcommands="{subcommands}" ;;'


BASH = """# Completion of {name} for bash, made of its --help.
{function}() {{
  local word=${{COMP_WORDS[COMP_CWORD]}} previous=${{COMP_WORDS[COMP_CWORD - 1]}} command="{name}"
  local earlier options subcommands
  COMPREPLY=()
  for earlier in "${{COMP_WORDS[@]:1:COMP_CWORD-1}}"; do
    case "$command $earlier" in
      {steps}) command+=" $earlier" ;;
    esac
  done
  case "$command $previous" in
{values}
  esac
  case "$command" in
{commands}
  esac
  if [[ $word == -* ]]; then
    COMPREPLY=($(compgen -W "$options" -- "$word"))
  elif [[ $subcommands ]]; then
    COMPREPLY=($(compgen -W "$subcommands" -- "$word"))
  else
    compopt -o default
  fi
}}
complete -F {function} {names}
"""


def bash(said):
    return BASH.format(name=said.command[0], function=function_of(said), steps=steps(said), names=" ".join(names_of(said)),
                       values="\n".join(bash_values(said)), commands="\n".join(map(bash_command, said.all())))


def zsh_quoted(text):
    return "'" + text.replace("'", "'\\''") + "'"


def zsh_escaped(text):
    """For the explanations of _arguments and _describe."""
    for special in "\\[]:":
        text = text.replace(special, "\\" + special)
    return text


def zsh_options(one):
    for option in one.options:
        action = "_files" if option.value == "FILE" else f"({choices(option)})" if choices(option) else " "
        value = f":{zsh_escaped(option.value)}:{action}" if option.value else ""
        for name in option.names:
            yield zsh_quoted(f"{name}[{zsh_escaped(option.text)}]{value}")


def zsh_command(one):
    subcommands = " ".join(zsh_quoted(f"{below.command[-1]}:{zsh_escaped(below.what)}") for below in one.subcommands)
    rest = zsh_quoted("*:file:_files") if not subcommands else ""
    options = " \\\n        ".join([*zsh_options(one), *filter(None, [rest])])
    return f"""    "{one.name}")
      subcommands=({subcommands})
      options=({options}) ;;"""


ZSH = """#compdef {names}
# Completion of {name} for zsh, made of its --help.
{function}() {{
  local command="{name}" earlier
  local -a subcommands options
  for earlier in "${{(@)words[2,CURRENT-1]}}"; do
    case "$command $earlier" in
      {steps}) command+=" $earlier"; shift words; (( CURRENT-- )) ;;
    esac
  done
  case "$command" in
{commands}
  esac
  if (( $#subcommands && CURRENT == 2 )) && [[ $words[2] != -* ]]; then
    _describe subcommand subcommands
  else
    _arguments $options
  fi
}}
{function} "$@"
"""


def zsh(said):
    return ZSH.format(name=said.command[0], function=function_of(said), steps=steps(said), names=" ".join(names_of(said)),
                      commands="\n".join(map(zsh_command, said.all())))


def main():
    bash_folder, zsh_folder, *programs = map(pathlib.Path, sys.argv[1:])
    for folder in (bash_folder, zsh_folder):
        folder.mkdir(parents=True, exist_ok=True)
    for program in programs:
        said = help_text.read(program, [program.name])
        (zsh_folder / f"_{program.name}").write_text(zsh(said))
        for name in names_of(said):
            (bash_folder / name).write_text(bash(said))


if __name__ == "__main__":
    main()
