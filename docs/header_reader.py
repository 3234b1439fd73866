"""Reads functions and their docstrings from the public headers."""
import dataclasses
import re

DECLARATION = re.compile(
    r"(?:/\*\*((?:(?!\*/).)*)\*/\s*)?(?:ORVA_PRINTF\(\d+\)\s*)?^ORVA_API\s+([^;{}()]*?)(\w+)\(([^;{}]*)\);",
    flags=re.M | re.S)


@dataclasses.dataclass
class Function:
    name: str
    returns: str
    arguments: list   # as declared
    text: list        # paragraphs; a list entry begins with "- "
    parameters: list  # (direction, name, text)
    results: list     # (value or "", text)


def split_arguments(text):
    depth, start, parts = 0, 0, []
    for i, c in enumerate(text + ","):
        depth += (c == "(") - (c == ")")
        if c == "," and depth == 0:
            parts.append(" ".join(text[start:i].split()))
            start = i + 1
    return parts


def lines_of(comment):
    return [re.sub(r"^\s*\* ?", "", line).rstrip() for line in comment.strip().splitlines()]


def paragraphs(lines):
    out, fresh = [], True
    for line in lines:
        if not line:
            fresh = True
        elif fresh or line.startswith("- "):
            out.append(line)
            fresh = False
        else:
            out[-1] += " " + line
    return out


def read_docstring(comment):
    text, tags = [], []
    for line in lines_of(re.sub(r"(?<=\S) (@return)", r"\n\1", comment)):
        if line.startswith(("@param", "@retval", "@return")):
            tags.append(line)
        elif tags and line:
            tags[-1] += " " + line
        elif not tags:
            text.append(line)
    parameters = [m.groups() for m in (re.match(r"@param\[([a-z,]+)\]\s+(\S+)\s+(.*)", tag) for tag in tags) if m]
    results = [m.groups() for m in (re.match(r"@retval\s+(\S+)\s+(.*)", tag) for tag in tags) if m]
    results += [("", m.group(1)) for m in (re.match(r"@return\s+(.*)", tag) for tag in tags) if m]
    squeezed = [tuple(re.sub(r"\s+", " ", part) for part in row) for row in parameters]
    return paragraphs(text), squeezed, [tuple(re.sub(r"\s+", " ", part) for part in row) for row in results]


def functions(text):
    """Every function; in a group the first docstring counts."""
    docstring = ""
    for comment, returns, name, arguments in DECLARATION.findall(text):
        docstring = comment or docstring
        yield Function(name, " ".join(returns.split()), split_arguments(arguments), *read_docstring(docstring))


def file_text(text):
    """The paragraphs of the @file comment."""
    comment = re.search(r"/\*\*\s*\n \* @file\n((?:(?!\*/).)*)\*/", text, flags=re.S).group(1)
    return paragraphs(lines_of(re.sub(r"@code.*?@endcode", "", comment, flags=re.S)))
