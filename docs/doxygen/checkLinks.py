#!/usr/bin/env python3
"""checkLinks.py HTML_FOLDER SOURCE_FOLDER: fails when a page of the manual, or a page of Markdown in
the source folder, links to a file or an anchor that isn't there."""

import pathlib
import re
import sys
from html.parser import HTMLParser
from urllib.parse import unquote


class Page(HTMLParser):
    def __init__(self, text):
        super().__init__()
        self.links = set()
        self.anchors = set()
        self.feed(text)

    def handle_starttag(self, tag, attributes):
        for name, value in attributes:
            if name in ("id", "name") and value:
                self.anchors.add(value)
            elif name in ("href", "src", "data") and value and tag != "base":
                self.links.add(value)


def is_local(link):
    return not re.match(r"[a-z]+:", link)


def broken_in_html(folder):
    pages = {path: Page(path.read_text(errors="replace")) for path in folder.glob("*.html")}
    for path, page in pages.items():
        for link in filter(is_local, page.links):
            name, _, anchor = link.partition("#")
            target = folder / unquote(name) if name else path
            if not target.exists() or (anchor and target in pages
                                       and unquote(anchor) not in pages[target].anchors):
                yield path.name, link
    if len(pages) < 50 or "index.html" not in {path.name for path in pages}:
        yield str(folder), "not a manual"


def broken_in_markdown(folder):
    for path in [*folder.glob("*.md"), *folder.glob("docs/*.md")]:
        text = re.sub(r"^```.*?^```", "", path.read_text(), flags=re.DOTALL | re.MULTILINE)
        for link in filter(is_local, re.findall(r"\]\(([^)\s]+)\)", text)):
            if not (path.parent / link.partition("#")[0]).exists():
                yield path.relative_to(folder), link


def main():
    html, source = (pathlib.Path(argument) for argument in sys.argv[1:3])
    broken = [*broken_in_html(html), *broken_in_markdown(source)]
    for page, link in broken:
        print(f"{page}: broken link {link}", file=sys.stderr)
    return bool(broken)


if __name__ == "__main__":
    sys.exit(main())
