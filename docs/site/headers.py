"""The C++ interface, as pages: what the headers say, in their own order.

A header begins with what it is, in entries (What, Shapes, Errors, ...), which become a list; behind it each comment (///)
belongs to the declaration that follows, and both are shown as they stand. A type is shown whole, without its private part.
"""

import re

ENTRY = re.compile(r"^([A-Z][A-Za-z]+)\s{2,}(.*)$")


def place_of(path):
    """The name that the heading of a header gets."""
    return re.sub(r"[^\w\- ]", "", path.lower())


def comment_text(lines):
    return [re.sub(r"^\s*/// ?", "", line) for line in lines]


def escaped(text):
    """Words of a comment, as Markdown that shows them as they are."""
    if re.fullmatch(r"\W?`[^`]+`\W*", text):
        return text
    return re.sub(r"([\\*<>\[\]`|#_])", r"\\\1", text)


# Names of the code: with an underscore, of capitals alone; and files of the tree.
NAME_IN_WORDS = re.compile(r"^(\(?)(?:([A-Za-z_:]*(?:_[A-Za-z_]*)+(?:\(\))?|[A-Z]{2,}[A-Z_0-9]+)|((?:[\w.]+/)+[\w.*]*))([.,;:)']*)$")


def word_shown(word, root):
    found = NAME_IN_WORDS.match(word)
    if not found:
        return escaped(word)
    before, name, path, behind = found.groups()
    shown = f"`{name or path}`"
    if path and (root / path).is_file():
        shown = f"[{shown}](../{path})"
    return f"{before}{shown}{escaped(behind)}"


def shown_words(text, root):
    """Words of a comment, with names of the code marked as such, and files of the tree as links from a room."""
    return "".join(word_shown(word, root) for word in re.split(r"(\s+)", text))


def entries(lines):
    """The first comment: a sentence, then entries of a name and words that go on in the lines below."""
    head, found = [], []
    for line in lines:
        if not line.strip():
            continue
        if entry := ENTRY.match(line):
            found.append((entry[1], [entry[2]]))
        elif found and line.startswith(" "):
            found[-1][1].append(line.strip())
        elif not found:
            head.append(line.strip())
        else:
            found[-1][1].append(line.strip())
    return " ".join(head), found


def first_comment(text):
    lines = text.split("\n")
    count = next(n for n, line in enumerate(lines) if not line.startswith("///"))
    return comment_text(lines[:count]), "\n".join(lines[count:])


def end_of_declaration(lines, begin):
    """Behind the last line of a declaration: where its brackets are closed and a ; or a } ends it."""
    depth, n = 0, begin
    while n < len(lines):
        line = re.sub(r"//.*$", "", lines[n])
        depth += line.count("{") + line.count("(") - line.count("}") - line.count(")")
        if depth == 0 and line.rstrip().endswith((";", "}")):
            return n + 1
        n += 1
    return n


def without_private_part(lines):
    shown, hidden = [], False
    for line in lines:
        if re.match(r"^ (private|protected):", line):
            hidden = True
        elif re.match(r"^ public:", line) or line.startswith("}"):
            hidden = False
        if not hidden:
            shown.append(line)
    while len(shown) > 1 and not shown[-2].strip():
        del shown[-2]
    return shown


def end_of_block(text, begin):
    """Behind the bracket that closes the one at a place."""
    depth = 0
    for at in range(begin, len(text)):
        depth += (text[at] == "{") - (text[at] == "}")
        if depth == 0:
            return at + 1
    return len(text)


def is_function(statement):
    return "(" in statement and not re.match(r"\s*(class|struct|enum|union|using|static_assert)\b", statement)


def without_bodies(text):
    """A type without the bodies of its functions and what its constructors begin with."""
    out, at, begin = "", 0, 0  # begin: of the statement at hand, in out
    while at < len(text):
        c = text[at]
        statement = re.sub(r"//.*", "", out[begin:])
        if c == "{" and is_function(statement):
            end = end_of_block(text, at)
            in_brackets = statement.count("(") > statement.count(")")
            if in_brackets or (re.search(r"\)[\w\s]*:[^:]", statement) and re.search(r"\w$", statement)):  # of a member, or an argument
                out, at = out + text[at:end], end
                continue
            at = end
            statement = re.sub(r"(\)(?:\s*(?:const|noexcept))*)\s*:[^:].*$", r"\1", out[begin:], flags=re.DOTALL)
            out = out[:begin] + statement.rstrip() + ";"
            begin = len(out)
            continue
        out += c
        at += 1
        if c in ";{}\n" and "(" not in re.sub(r"\([^()]*\)", "", out[begin:]) and (c != "\n" or not out[begin:].strip()
                                                                                or out[begin:].strip().startswith("//")
                                                                                or out[begin:].strip().endswith(":")):
            begin = len(out)
    return out


def interface_of(lines):
    """What a reader needs of a declaration: of a function no body, of a type its public part, without bodies."""
    text = "\n".join(lines)
    if re.match(r"^(template <.*>\s*)?(class|struct|union)\b", text.lstrip()) and "{" in text:
        public = "\n".join(without_private_part(lines))
        head = public.index("{") + 1
        return public[:head] + without_bodies(public[head:])
    if "{" not in text or re.match(r"^(template <.*>\s*)?(enum|concept)\b", text.lstrip()):
        return text
    signature = text[:text.index("{")].rstrip()
    return signature + (";" if ")" in signature else text[text.index("{"):])


NAME = re.compile(r"(?:enum class|class|struct|enum|concept)\s+(?:\[\[\w+\]\]\s*)?(\w+)|([A-Za-z_~]\w*)\s*\(|(\w+)\s*(?:=|;|\{)")


def name_of(code):
    code = re.sub(r"^template <[^\n]*>\s*", "", re.sub(r"\[\[.*?\]\]|alignas\(.*?\)|__attribute__\(\(.*?\)\)\)?", "", code))
    found = NAME.search(code)
    return next((group for group in found.groups() if group), "") if found else ""


def declarations(text):
    """(comment, code) of the declarations in a namespace, told by the blank lines between them."""
    lines = text.split("\n")
    n, found = 0, []
    while n < len(lines):
        line = lines[n]
        if line.startswith("///"):
            begin = n
            while n < len(lines) and lines[n].startswith("///"):
                n += 1
            comment = comment_text(lines[begin:n])
        else:
            comment = []
        if n >= len(lines) or not lines[n].strip() or re.match(r"^(#|//|namespace|\}|using namespace)", lines[n]):
            n += 1
            continue
        end = end_of_declaration(lines, n)
        found.append((comment, interface_of(lines[n:end])))
        n = end
    return found


def grouped(found):
    """Declarations without a word of their own stand together."""
    groups = []
    for comment, code in found:
        if groups and not comment and not groups[-1][0]:
            groups[-1] = ([], groups[-1][1] + ("\n\n" if "\n" in code + groups[-1][1] else "\n") + code)
        else:
            groups.append((comment, code))
    return groups


def told(lines, root):
    """A comment: paragraphs as they are; entries of a name and aligned words keep their lines."""
    if any(re.match(r"^\s*\S.*?\s{2,}\S", line) for line in lines):
        return "\n".join(["```text", *lines, "```"])
    return "\n".join(shown_words(line, root) for line in lines)


def page_of_header(root, path):
    text = (root / path).read_text(encoding="utf-8")
    if not text.startswith("///"):
        return ""
    comment, rest = first_comment(text)
    head, found = entries(comment)
    out = [f"## {path}", "", shown_words(head, root), ""]
    for name, lines in found:
        if name == "Example" or any(re.search(r"\S {3,}\S", line) for line in lines):
            out += [name, f":   ```{'cpp' if name == 'Example' else 'text'}\n    " + "\n    ".join(lines) + "\n    ```", ""]
        else:
            out += [name, ":   " + "\n    ".join(shown_words(line, root) for line in lines), ""]
    for comment, code in grouped(declarations(rest)):
        name = name_of(code)
        if comment and name:
            out += [f"### {escaped(name)}", ""]
        out += ["```cpp", code.strip("\n"), "```", ""]
        if comment:
            out += [told(comment, root), ""]
    return "\n".join(out)


def of_room(root, room):
    return sorted(str(path.relative_to(root)) for path in (root / room).glob("*.h"))


def pages_of(root, room):
    return "\n".join(page_of_header(root, path) for path in of_room(root, room))
