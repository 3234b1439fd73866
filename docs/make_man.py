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
    ("docs/orva_inspect.md", "orva-inspect", 1, "explain codes, messages, blocks, logs and tables of liborva_comm"),
    ("docs/orva_board.md", "orva-board", 1, "check board descriptions of the host platform"),
    ("docs/orva_port_check.md", "orva-port-check", 1, "check a platform for liborva_comm"),
    ("docs/chassis.md", "orva-chassis", 1, "run a chassis of liborva_comm on one machine"),
    ("docs/python.md", "orva-python", 7, "Python for testers of a chassis of liborva_comm"),
    ("docs/fleet.md", "orva-fleet", 7, "watch many chassis with Prometheus"),
    ("docs/architecture.md", "liborva_comm", 7, "common support library of a chassis and environment management system"),
)


def date(root):
    epoch = os.environ.get("SOURCE_DATE_EPOCH")
    if epoch is None:
        found = re.search(r"^ -- .*>  \w+, (\d+ \w+ \d+)", (root / "debian" / "changelog").read_text(), flags=re.M)
        day = time.strptime(found.group(1), "%d %b %Y")
    else:
        day = time.gmtime(int(epoch))
    return time.strftime(f"%B {day.tm_mday}, %Y", day)


def escaped(text):
    text = text.replace("\\", "\\e").replace("`", "\x01")
    text = re.sub(r"!?\[([^\]]*)\]\([^)]*\)", r"\1", text)
    text = text.replace("**", "").replace("-", "\\-")
    return re.sub("\x01([^\x01]*)\x01", lambda code: "\\fB" + code[1].replace('"', "\\(dq") + "\\fP", text).replace("\x01", "\\(ga")


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


def cells(line):
    return [cell.strip().replace("\\|", "|") for cell in re.split(r"(?<!\\)\|", line.strip().strip("|"))]


def table(lines):
    rows = [cells(line) for line in lines]
    out = [".Bl -tag -width Ds"]
    for row in rows[2:]:
        rest = [f"default: {cell}" if title == "default" else cell
                for title, cell in zip(rows[0][1:], row[1:], strict=True) if cell]
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


# ---- A page for each sub-command

def tables(text):
    return [found.group(0).rstrip("\n").split("\n") for found in re.finditer(r"^\|.*\n(?:\|.*\n)+", text, flags=re.M)]


def usages(program, text):
    """How each sub-command is called, from the block of usages and from the tables of commands."""
    found = {}
    block = re.search(r"^```\n(" + program + r" .*?)^```$", text, flags=re.M | re.S)
    for usage in re.split(r"\n(?! )", block.group(1).strip()) if block else ():
        words = re.sub(r"\[[^]]*\] ?", "", usage).split()
        if len(words) > 1 and words[1].islower():
            for name in words[1].split("|"):
                found.setdefault(name, []).append((" ".join(usage.replace(words[1], name, 1).split()), ""))
    rows = (cells(line) for lines in tables(text) if cells(lines[0])[0] == "command" for line in lines[2:])
    for row in rows:
        for call in re.findall(r"`([^`]+)`", row[0]):
            name = call.split()[0]
            if not name[0].islower():
                continue  # an option
            usage = call if call.startswith(program) else f"{program} {call}"
            old = found.setdefault(name, [])
            if old and not old[0][1] and old[0][0].split()[0] == program and len(old) == 1 and name in old[0][0].split():
                old[0] = (old[0][0], row[1])  # called as the block says, described by the table
            else:
                old.append((usage, row[1]))
    return found


def section(name, text):
    """The section whose heading names the sub-command."""
    for heading, body_text in re.findall(r"^## ([^\n]*)\n(.*?)(?=^## |\Z)", text, flags=re.M | re.S):
        if name in re.split(r", ", heading):
            return f"# {name}\n{body_text}"
    return None


def options(name, text):
    return [lines for lines in tables(text) if f"`{name}`" in cells(lines[0])[0]]


def command_pages(root, page, program):
    text = (root / page).read_text()
    for name, calls in usages(program, text).items():
        own = section(name, text)
        described = list(dict.fromkeys(effect for _, effect in calls if effect))
        first = re.split(r"(?<=\.) |; |, with |: ", described[0])[0] if described else section_summary(own, program, name)
        out = head(root, f"{program}-{name}", 1, escaped(first).rstrip("."))
        out += [".Sh SYNOPSIS", *(line for usage, _ in calls for line in (".Bd -ragged -compact", *prose(usage), ".Ed"))]
        out += [".Sh DESCRIPTION"]
        for i, effect in enumerate(described):
            out += ([".Pp"] if i else []) + prose(effect[0].upper() + effect[1:] + ("" if effect.endswith(".") else "."))
        if own:
            out += ([".Pp"] if described else []) + page_body(own)
        for lines in options(name, text):
            out += table(lines)
        while out[-1] == ".Pp":
            out.pop()
        out += [".Sh SEE ALSO", f".Xr {program} 1 ,", ".Xr liborva_comm 7"]
        yield f"{program}-{name}", "\n".join(out) + "\n"


def section_summary(own, program, name):
    paragraph = re.search(r"^(?!#|\||```|<!--)(\S.*?)(?:\n\n|\Z)", own or "", flags=re.M | re.S)
    return re.split(r"(?<=\.) |: ", " ".join(paragraph.group(1).split()))[0] if paragraph else f"{name} of {program}"


def main():
    root, folder = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2])
    headers = [header for header in sorted((root / "include").glob("orva_*.h"))
               if any(True for _ in header_reader.functions(header.read_text()))]
    names = [header.stem for header in headers]
    for name in ("man1", "man3", "man7"):
        (folder / name).mkdir(parents=True, exist_ok=True)
    for header in headers:
        (folder / "man3" / f"{header.stem}.3").write_text(area_page(root, header, names))
    areas = [f"{name} 3" for name in names]
    for page, name, number, description in PAGES:
        references = areas if name == "liborva_comm" else ["liborva_comm 7"]
        text = manual_page(root, page, name, number, description, references)
        (folder / f"man{number}" / f"{name}.{number}").write_text(text)
        for command, text in command_pages(root, page, name) if number == 1 else ():
            (folder / "man1" / f"{command}.1").write_text(text)


main()
