"""Every relative link of the pages leads to a file, and every anchor to a heading. With --site, every link of the built
site, and nothing is loaded from elsewhere."""
import argparse
import html.parser
import pathlib
import re
import sys
import urllib.parse

LINK = re.compile(r"!?\[[^\]]*\]\(([^)\s]+)\)")


def without_code(text):
    return re.sub(r"`[^`\n]*`", "", re.sub(r"^```.*?^```$", "", text, flags=re.M | re.S))


def anchors(path):
    headings = re.findall(r"^#+\s+(.*)$", without_code(path.read_text()), flags=re.M)
    return {re.sub(r"[^\w\- ]", "", heading.strip().lower()).replace(" ", "-") for heading in headings}


def page_problems(root):
    diagrams = {path.stem for path in (root / "docs" / "diagrams").glob("*.dot")}
    count = 0
    for path in sorted([*root.glob("*.md"), *(root / "docs").glob("*.md"), *(root / "examples").glob("*.md")]):
        for target in LINK.findall(without_code(path.read_text())):
            count += 1
            file, _, anchor = target.partition("#")
            if re.match(r"[a-z]+:", target):
                yield f"{path.name}: leads to another machine: {target}"
            elif file.endswith(".svg") and pathlib.PurePath(file).stem in diagrams:
                continue
            elif file and not (path.parent / file).exists():
                yield f"{path.name}: no such file: {target}"
            elif not file and path.parent.name == "docs":
                yield f"{path.name}: the site cannot lead to a heading of the same page: {target}"
            elif anchor and anchor not in anchors(path.parent / file if file else path):
                yield f"{path.name}: no such heading: {target}"
    if count < 20:
        yield "hardly any links: is this the right folder?"


class Site(html.parser.HTMLParser):
    def __init__(self, path):
        super().__init__()
        self.links, self.names = [], set()
        self.feed(path.read_text(errors="replace"))

    def handle_starttag(self, tag, attributes):
        values = dict(attributes)
        self.names |= {values[key] for key in ("id", "name") if values.get(key)}
        for key in ("href", "src", "data"):
            if values.get(key):
                self.links.append((tag, values[key]))


def site_problems(site):
    pages = {path: Site(path) for path in site.rglob("*.html")}
    for path, page in pages.items():
        for tag, target in page.links:
            url = urllib.parse.urlsplit(target)
            if url.scheme in ("javascript", "data") or target == "#":
                continue
            if url.scheme or url.netloc:
                if tag != "a":
                    yield f"{path.name}: loads {target}"
                continue
            file = (path.parent / urllib.parse.unquote(url.path)).resolve() if url.path else path
            if not file.exists():
                yield f"{path.name}: no such file: {target}"
            elif url.fragment and file in pages and urllib.parse.unquote(url.fragment) not in pages[file].names:
                yield f"{path.name}: no such place: {target}"
    if len(pages) < 30:
        yield "hardly any pages"


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--root")
    parser.add_argument("--site")
    args = parser.parse_args()
    problems = [*(page_problems(pathlib.Path(args.root)) if args.root else ()),
                *(site_problems(pathlib.Path(args.site).resolve()) if args.site else ())]
    print("\n".join([*sorted(set(problems)), f"{len(set(problems))} problems"]))
    return 1 if problems else 0


sys.exit(main())
