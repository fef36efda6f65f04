"""The repository's Markdown as pages of the site: what both can show alike. A link that leads to a file leads to the page of
that file in the site, and to a heading's anchor as a reader of the repository knows it."""

import html
import re
from pathlib import Path, PurePosixPath

SUBSYSTEMS = ["failures", "processes", "memory", "streams", "processor", "logging", "text", "kit"]
# Pages that stand elsewhere, by their names in the site.
ELSEWHERE = {"index": "README.md", "contributing": "CONTRIBUTING.md", "changelog": "CHANGELOG.md", "benchmarks": "bench/README.md"}
LAST = ["contributing", "changelog", "benchmarks"]

FENCE = re.compile(r"( *)(```+|~~~+) *([\w+-]*)")
HEADING = re.compile(r"(#{1,6}) +(.*?) *#*$")
LINK = re.compile(r"(!?)\[((?:[^\[\]`]|`[^`]*`)*)\]\(([^()\s]+)\)")
TAG = re.compile(r"</?(?:a|b|br|code|dd|details|div|dl|dt|em|i|img|p|picture|source|strong|sub|summary|sup|table|td|th|tr)\b[^>]*>")
COMMENT = re.compile(r"^ *<!--.*?-->", re.M | re.S)
OUTSIDE = re.compile(r"(?:https?|mailto):")


class Problem(Exception):
    pass


def slugs(lines):
    """(line number, level, title, anchor) of each heading, with the anchors that the repository's readers give."""
    seen, fence = {}, None
    for number, line in enumerate(lines, 1):
        mark = FENCE.match(line)
        if mark and (fence is None or mark[2].startswith(fence) and not mark[3]):
            fence = mark[2][:3] if fence is None else None
            continue
        heading = HEADING.match(line) if fence is None else None
        if not heading:
            continue
        title = re.sub(r"`|\[([^]]*)\]\([^)]*\)", r"\1", heading[2]).strip()
        slug = re.sub(r"[^\w\- ]", "", title.lower()).replace(" ", "-")
        count = seen.get(slug, 0)
        seen[slug] = count + 1
        yield number, len(heading[1]), title, slug + (f"-{count}" if count else "")


class Site:
    """Which file of the repository is which page, and which files are shown besides because a page links to them."""

    def __init__(self, root, headers):
        self.root = root
        self.headers = headers  # path in the repository -> as it is included
        self.pages = {name: path for name, path in ELSEWHERE.items() if (root / path).exists()}
        self.pages.update((path.stem, f"docs/{path.name}") for path in sorted((root / "docs").glob("*.md")))
        self.names = {path: name for name, path in self.pages.items()}
        self.titles, self.anchors = {}, {}
        for name, path in self.pages.items():
            headings = list(slugs((root / path).read_text().split("\n")))
            if not headings or headings[0][1] != 1:
                raise Problem(f"{path}:1: a page begins with its title, as in '# Processes'")
            self.titles[name] = headings[0][2]
            self.anchors[name] = {slug for _, _, _, slug in headings}
        self.shown = {}  # path of a file or folder -> name of the page that shows it
        self.images = set()

    def label(self, name, slug):
        return f"{name}-{slug}".encode("ascii", "ignore").decode()

    def target(self, page, place, link):
        """The link as the site has it."""
        path, _, anchor = link.partition("#")
        at = f"{place}: "
        if not path:
            return self.page_target(at, page, anchor)
        resolved = PurePosixPath(self.pages[page]).parent.joinpath(path)
        parts = []
        for part in resolved.parts:
            if part == "..":
                if not parts:
                    raise Problem(f"{at}the link '{link}' leads out of the repository")
                parts.pop()
            elif part != ".":
                parts.append(part)
        found = "/".join(parts)
        if not (self.root / found).exists():
            raise Problem(f"{at}the link '{link}' leads to nothing: there is no {found}")
        if found in self.names:
            return self.page_target(at, self.names[found], anchor)
        if anchor:
            raise Problem(f"{at}the link '{link}' leads into a file that has no anchors")
        if found in self.headers:
            return "header:" + self.headers[found]
        return self.show(found)

    def page_target(self, at, name, anchor):
        if not anchor:
            return f"{name}.html"
        if anchor not in self.anchors[name]:
            raise Problem(f"{at}{self.pages[name]} has no heading '{anchor}'")
        return f"{name}.html#{self.label(name, anchor)}"

    def check_others(self):
        """The links of Markdown that is no page of the site: only that what they lead to is there."""
        for folder in (each for each in sorted(self.root.iterdir()) if each.name not in ("build", ".git", "docs")):
            for path in sorted(folder.rglob("*.md")) if folder.is_dir() else []:
                name = path.relative_to(self.root).as_posix()
                for number, line in enumerate(path.read_text().split("\n") if name not in self.names else [], 1):
                    for link in LINK.finditer(line):
                        target = link[3].partition("#")[0]
                        if target and not OUTSIDE.match(target) and not (path.parent / target).exists():
                            raise Problem(f"{name}:{number}: the link '{link[3]}' leads to nothing")

    def show(self, found):
        name = "file_" + re.sub(r"\W+", "_", found).strip("_")
        self.shown[found] = name
        return name + ".html"

    def image(self, page, place, link):
        path = self.root / PurePosixPath(self.pages[page]).parent / link
        if not path.exists():
            raise Problem(f"{place}: there is no image {link}")
        self.images.add(path.resolve())
        return path.name

    def page(self, name):
        """The text of a page for Doxygen."""
        path = self.pages[name]
        # Comments are for tools; their lines stay, so that warnings name the right ones.
        text = COMMENT.sub(lambda m: "\n" * m[0].count("\n"), (self.root / path).read_text())
        lines = text.split("\n")
        headings = {number: (level, slug) for number, level, _, slug in slugs(lines)}
        result, fence, previous = [], None, ""
        for number, line in enumerate(lines, 1):
            mark = FENCE.match(line)
            if mark and (fence is None or mark[2].startswith(fence) and not mark[3]):
                if fence is None:
                    fence = mark[2]
                    line = mark[1] + fence + ("{.cpp}" if mark[3] in ("cpp", "c++") else "{.unparsed}" if mark[3] else "")
                else:
                    fence = None
            elif fence is not None or (line.startswith("    ") and (not previous.strip() or previous.startswith("    "))):
                pass
            elif number in headings:
                level, slug = headings[number]
                title = self.prose(name, f"{path}:{number}", HEADING.match(line)[2])
                label = name if level == 1 and number == min(headings) else self.label(name, slug)
                line = f"{'#' * level} {title} {{#{'mainpage' if label == 'index' else label}}}"
            else:
                line = self.prose(name, f"{path}:{number}", line)
            result.append(line)
            previous = line
        return "\n".join(result)

    def prose(self, name, place, line):
        def linked(match):
            if match[1]:
                source = match[3] if OUTSIDE.match(match[3]) else self.image(name, place, match[3])
                return f'<img src="{source}" alt="{html.escape(match[2])}"/>'
            target = match[3] if OUTSIDE.match(match[3]) else self.target(name, place, match[3])
            return f"[{self.escaped(match[2])}]({target})"

        result, position = "", 0
        for match in re.finditer(rf"`[^`]*`|{LINK.pattern}|{TAG.pattern}|<https?:[^>]*>", line):
            result += self.escaped(line[position : match.start()])
            link = LINK.fullmatch(match[0])
            result += linked(link) if link else self.local_tag(name, place, match[0])
            position = match.end()
        return result + self.escaped(line[position:])

    def local_tag(self, name, place, tag):
        """An image that is written as a tag."""
        return re.sub(
            r'\b(src|srcset)="([^":]+)"', lambda m: f'{m[1]}="{self.image(name, place, m[2])}"', tag
        ) if tag.startswith("<") else tag

    @staticmethod
    def escaped(text):
        parts = re.split(r"(`[^`]*`)", text)
        return "".join(
            part if number % 2 else re.sub(r"(?<!\\)[\\<@%](?![|*_`\[\]])|(?<!^)(?<![\s#])#", lambda m: "\\" + m[0], part)
            for number, part in enumerate(parts)
        )

    def file_page(self, found):
        """A file of the repository that a page links to, or a folder."""
        name = self.shown[found]
        path = self.root / found
        lines = [f"# {found} {{#{name}}}", ""]
        if path.is_dir():
            inside = sorted(p for p in path.iterdir() if p.name != "README.md" or f"{found}/README.md" not in self.names)
            for each in inside:
                inner = f"{found}/{each.name}"
                target = f"{self.names[inner]}.html" if inner in self.names else None
                if target is None and each.is_file():
                    target = self.show(inner)
                lines.append(f"- [{each.name}]({target})" if target else f"- {each.name}")
        else:
            text = path.read_text(errors="replace").rstrip("\n")
            fence = "`" * max(3, 1 + max((len(run) for run in re.findall(r"`+", text)), default=0))
            kind = "{.cpp}" if path.suffix in (".cpp", ".hpp") else "{.unparsed}"
            lines += [fence + kind, text, fence]
        return "\n".join(lines) + "\n"
