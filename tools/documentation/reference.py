"""What Doxygen made: names and where they are described, and what is done to its pages afterwards."""

import re
import xml.etree.ElementTree as xml

CODE = re.compile(r"<a\b[^>]*>.*?</a>|<pre\b.*?</pre>|<div class=\"fragment\">.*?</div><!-- fragment -->|<code>([^<]+)</code>", re.S)
SKIPPED = {"main", "std"}


class Reference:
    def __init__(self, tagfile, pages):
        self.pages = pages  # path in the repository -> address
        self.files, self.namespaces, self.types, self.members = {}, set(), {}, {}
        for compound in xml.parse(tagfile).getroot():
            kind, name = compound.get("kind"), compound.findtext("name")
            page = compound.findtext("filename") or ""
            page += "" if page.endswith(".html") else ".html"
            if kind == "file":
                self.files[f"{compound.findtext('path') or ''}{name}".split("/include/", 1)[-1]] = page
                continue
            if kind == "namespace":
                self.namespaces.add(name)
            elif kind in ("class", "struct", "union"):
                self.types.setdefault(name, page)
            else:
                continue
            for member in compound.iter("member"):
                if member.get("kind") in ("function", "typedef", "enumeration", "variable", "friend"):
                    inside = member.findtext("name")
                    address = f"{member.findtext('anchorfile')}#{member.findtext('anchor')}"
                    self.members.setdefault(f"{name}::{inside}", (kind == "namespace" and member.get("kind") != "variable", address))
        self.headers = {page: name for name, page in self.files.items()}
        self.ends = {}
        for name, address in self.types.items():
            self.add(name, 0, address)
        for name, (free, address) in self.members.items():
            self.add(name, 1 if free else 2, address)

    def add(self, name, rank, address):
        parts = re.split(r"::(?![^<]*>)", name)
        for begin in range(len(parts)):
            self.ends.setdefault("::".join(parts[begin:]), []).append((rank, name, address))

    def address(self, text, page):
        """Where a code span leads: to a header, or to the one thing that has this name for a reader of `page`."""
        text = text.replace("&lt;", "<").replace("&gt;", ">").strip()
        if text in self.pages:
            return self.pages[text]
        header = re.fullmatch(r"(?:#include )?<?([\w/]+\.hpp)>?", text)
        if header:
            return self.files.get(header[1])
        name = re.sub(r"^(foundation_|process::(?=process::))|\(.*\)$|<.*>$", "", text)
        if not re.fullmatch(r"~?\w+(::~?\w+)*", name) or name.split("::")[0] in SKIPPED:
            return None
        if page in self.pages.values() and re.fullmatch(r"[a-z0-9]+", text):
            return None  # In prose such a word may be anything: an area, a folder, an option.
        found = [each for each in self.ends.get(name, []) if each[0] < 2 or "::" in name or each[2].split("#")[0] == page]
        here = [each for each in found if each[2].split("#")[0] == page]
        if here:
            found = here
        elif found:
            best = min(rank for rank, _, _ in found)
            found = [each for each in found if each[0] == best]
        addresses = {address for _, _, address in found}
        return addresses.pop() if len(addresses) == 1 else None

    def finished(self, text, page):
        """A page with what its code spans name made into links, and links to headers led to their pages."""

        def linked(match):
            address = self.address(match[1], page) if match[1] else None
            return f'<a class="name" href="{address}">{match[0]}</a>' if address and address != page else match[0]

        text = re.sub(r'"header:([^"]+)"', lambda m: f'"{self.files[m[1]]}"', text)
        # Doxygen offers a way to the nested classes also where all of them are private.
        text = re.sub(
            r'<a href="#([\w-]+)">[^<]+</a>( &#124;)?',
            lambda m: m[0] if f'id="{m[1]}"' in text or f'name="{m[1]}"' in text else "", text)
        name = self.headers.get(page)  # Doxygen leaves out in which folder it is.
        if name:
            short = name.rsplit("/", 1)[-1]
            text = re.sub(rf"((?:<title>|<div class=\"title\">)[^<]*?){re.escape(short)}", lambda m: m[1] + name, text)
        text = text.replace('<h2 class="groupheader">Detailed Description</h2>', "")  # It stands at the top.
        head, mark, body = text.partition('<div class="contents">')
        return head + mark + CODE.sub(linked, body)
