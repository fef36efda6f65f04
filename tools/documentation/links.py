"""Whether every link within a folder of HTML pages leads somewhere, anchors included; those of its search box as well."""

import re
from html.parser import HTMLParser
from os.path import normpath
from pathlib import Path
from urllib.parse import unquote, urlsplit


class Page(HTMLParser):
    def __init__(self, path):
        super().__init__()
        self.links, self.anchors = [], set()
        self.feed(path.read_text())

    def handle_starttag(self, tag, attributes):
        for name, value in attributes:
            if name in ("href", "src", "data") and value and not value.startswith("data:"):
                self.links.append((self.getpos()[0], value))
            if name == "id" or name == "name" and tag == "a":
                self.anchors.add(value)

    handle_startendtag = handle_starttag


def problems(folder):
    pages = {path.relative_to(folder).as_posix(): Page(path) for path in sorted(Path(folder).rglob("*.html"))}
    count = 0
    found = []
    for path in sorted(Path(folder).glob("search/*.js")):  # What the search box offers.
        offered = Page.__new__(Page)
        offered.links = [(1, link) for link in re.findall(r"'(\.\./[^']+)'", path.read_text())]
        pages[path.relative_to(folder).as_posix()] = offered
        offered.anchors = set()
    for name, page in pages.items():
        for line, link in page.links:
            parts = urlsplit(link)
            if parts.scheme in ("http", "https", "mailto", "javascript"):
                # What a reader must fetch is not part of the site.
                continue
            count += 1
            target = normpath(f"{Path(name).parent}/{unquote(parts.path)}") if parts.path else name
            if parts.scheme or not (Path(folder) / target).exists():
                found.append(f"{name}:{line}: the link '{link}' leads to nothing")
            elif parts.fragment and target in pages and unquote(parts.fragment) not in pages[target].anchors:
                found.append(f"{name}:{line}: {target} has no anchor '{parts.fragment}'")
    return count, found
