"""Writes the manual pages: section 3 from the public headers, one page for each area, sections 1 and 7 from pages of docs/.

Usage: make_man.py ROOT FOLDER"""
import os
import pathlib
import re
import sys
import textwrap
import time

import header_reader


PAGES = (
    ("docs/orva_inspect.md", "orva-inspect", 1, "explain codes, blocks, dumps and tables of liborva_comm"),
    ("docs/orva_board.md", "orva-board", 1, "check board descriptions of the host platform"),
    ("docs/orva_port_check.md", "orva-port-check", 1, "check a platform for liborva_comm"),
    ("docs/chassis.md", "orva-chassis", 1, "run a chassis of liborva_comm on one machine"),
    ("docs/architecture.md", "liborva_comm", 7, "common support library of a chassis and environment management system"),
)


def date(root):
    epoch = os.environ.get("SOURCE_DATE_EPOCH")
    if epoch is None:
        found = re.search(r"\d{4}-\d{2}-\d{2}", (root / "CHANGELOG.md").read_text())
        day = time.strptime(found.group(0), "%Y-%m-%d") if found else time.gmtime(0)
    else:
        day = time.gmtime(int(epoch))
    return time.strftime(f"%B {day.tm_mday}, %Y", day)


def escaped(text):
    text = text.replace("\\", "\\e").replace("`", "\x01")
    text = re.sub(r"!?\[([^\]]*)\]\([^)]*\)", r"\1", text)
    text = text.replace("**", "").replace("-", "\\-")
    return re.sub("\x01([^\x01\"]*)\x01", r"\\fB\1\\fP", text).replace("\x01", "\\(ga")


def prose(text):
    """One sentence a line, as manual pages want it, and short lines; no line begins like a request."""
    sentences = re.split(r"(?<=[.?!]) (?=[^a-z])", escaped(text))
    lines = [line for sentence in sentences
             for line in textwrap.wrap(sentence, 78, break_long_words=False, break_on_hyphens=False)]
    return ["\\&" + line if line.startswith((".", "'")) else line for line in lines]


def quoted(argument):
    return '"' + argument.replace('"', '\\(dq') + '"'


def body(paragraphs):
    out, listed = [], False
    for paragraph in paragraphs:
        if paragraph.startswith("|"):
            continue
        if paragraph.startswith("- "):
            out += ([] if listed else [".Bl -bullet -compact"]) + [".It", *prose(paragraph[2:])]
            listed = True
            continue
        if listed:
            out.append(".El")
            listed = False
        out += [".Pp", *prose(paragraph)]
    return out + ([".El"] if listed else [])


def function_entry(function):
    out = [f".It Fn {function.name}"] + body(function.text)[1:]
    for title, rows in (("Arguments:", function.parameters), ("Results:", function.results)):
        if title == "Results:" and len(rows) == 1 and rows[0][0] == "":
            out += [".Pp", "Returns:", *prose(rows[0][1])]
        elif rows:
            out += [".Pp", title, ".Bl -tag -width Ds -compact"]
            for row in rows:
                name = row[1] if title == "Arguments:" else row[0]
                tag = f".It Fa {name}" if title == "Arguments:" else f".It Dv {name or 'otherwise'}"
                direction = f"({row[0]})" if title == "Arguments:" else ""
                lines = prose(row[-1])
                out += [tag, *([direction] if direction else []), *lines]
            out.append(".El")
    return out


def head(root, name, section, description):
    return [f".Dd {date(root)}", f".Dt {name.upper()} {section}", ".Os", ".Sh NAME", f".Nm {name}", f".Nd {description}"]


def area_page(root, header, names):
    text = header.read_text()
    about = header_reader.file_text(text)
    functions = list(header_reader.functions(text))
    first = re.split(r"[.:] ", about[0].rstrip("."))[0]
    out = head(root, header.stem, 3, escaped(first[0].lower() + first[1:]).rstrip("."))
    out += [".Sh SYNOPSIS", f".In {header.name}"]
    for function in functions:
        out += [f".Ft {quoted(function.returns)}",
                f".Fn {function.name} " + " ".join(quoted(argument) for argument in function.arguments)]
    out += [".Sh DESCRIPTION", *body(about)[1:], ".Bl -tag -width Ds"]
    for function in functions:
        out += function_entry(function)
    out += [".El", ".Sh SEE ALSO"]
    others = sorted(name for name in names if name != header.stem)
    out += [f".Xr {name} 3 ," for name in others] + [".Xr liborva_comm 7"]
    return "\n".join(out) + "\n"


def table(lines):
    rows = [[cell.strip() for cell in line.strip("|").split("|")] for line in lines]
    out = [".Bl -tag -width Ds"]
    for row in rows[2:]:
        rest = [cell for cell in row[1:] if cell]
        out += [f".It {escaped(row[0])}", *prose("; ".join(rest) if rest else "\\&")]
    return out + [".El"]


def literal(code):
    lines = [line.replace("\\", "\\e").replace("-", "\\-").expandtabs() for line in code.rstrip("\n").split("\n")]
    return [".Bd -literal -offset indent", *("\\&" + line if line.startswith((".", "'")) else line for line in lines), ".Ed"]


def page_body(text):
    """A page of docs/ as the body of a manual page: headings, paragraphs, lists, tables, blocks of code."""
    text = re.sub(r"<!--.*?-->\n?", "", text, flags=re.S).split("\n", 1)[1]
    out, fresh = [], True
    for block in re.split(r"\n\n+(?=(?:[^`]|`(?!``))*(?:```(?:[^`]|`(?!``))*```(?:[^`]|`(?!``))*)*$)", text.strip()):
        for part in re.split(r"^(```.*?^```)$", block, flags=re.M | re.S):
            lines = part.strip("\n").split("\n")
            if not part.strip():
                continue
            if part.startswith("```"):
                out += literal("\n".join(lines[1:-1]))
                continue
            heading = re.match(r"#+ (.*)", lines[0])
            if heading:
                out.append(f".Ss {escaped(heading.group(1))}")
                lines, fresh = lines[1:], True
                if not lines:
                    continue
            if lines[0].startswith("|"):
                out += table(lines)
            elif lines[0].startswith("    "):
                out += literal("\n".join(line[4:] for line in lines))
            elif re.match(r"(-|\d+\.) ", lines[0]):
                out.append(".Bl -bullet -compact")
                for item in re.split(r"\n(?=(?:-|\d+\.) )", "\n".join(lines)):
                    out += [".It", *prose(" ".join(re.sub(r"^(-|\d+\.) ", "", item).split()))]
                out.append(".El")
            elif not lines[0].startswith("!["):
                out += ([] if fresh else [".Pp"]) + prose(" ".join(lines))
            fresh = False
    return out


def manual_page(root, page, name, section, description, references):
    out = head(root, name, section, description) + [".Sh DESCRIPTION", *page_body((root / page).read_text())]
    out.append(".Sh SEE ALSO")
    out += [f".Xr {reference}" + (" ," if reference != references[-1] else "") for reference in references]
    return "\n".join(out) + "\n"


def main():
    root, folder = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2])
    headers = [header for header in sorted((root / "include").glob("orva_*.h"))
               if any(True for _ in header_reader.functions(header.read_text()))]
    names = [header.stem for header in headers]
    for section in ("man1", "man3", "man7"):
        (folder / section).mkdir(parents=True, exist_ok=True)
    for header in headers:
        (folder / "man3" / f"{header.stem}.3").write_text(area_page(root, header, names))
    areas = [f"{name} 3" for name in names]
    for page, name, section, description in PAGES:
        references = areas if section == 7 else ["liborva_comm 7"]
        text = manual_page(root, page, name, section, description, references)
        (folder / f"man{section}" / f"{name}.{section}").write_text(text)


main()
