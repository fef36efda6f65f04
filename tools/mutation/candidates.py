"""Where a small change could be a fault: found in the syntax tree, so that each is a whole expression or statement."""

import hashlib
import json
import multiprocessing
import pickle
import re
import shlex
import subprocess
from dataclasses import dataclass
from pathlib import Path

from clang import cindex
from clang.cindex import CursorKind as Kind

PRODUCT = ("src/", "dlmalloc/", "plugins/")
COMPARISONS = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "=="}
ARITHMETIC = {"+": "-", "-": "+", "*": "+", "/": "*", "%": "/", "<<": ">>", ">>": "<<", "&&": "||", "||": "&&", "&": "|"}
ASSIGNMENTS = {"+=": "-=", "-=": "+=", "|=": "&=", "&=": "|=", "<<=": ">>=", ">>=": "<<="}
# Of these the order of the arguments says nothing.
SYMMETRIC = re.compile(r"(std::(min|max)|\w*traits\w*::eq(_int_type)?|_mm_(and|or|xor|cmpeq|add)_\w+|\w*calloc|\w+_zeroed)(<.*>)?",
                       re.IGNORECASE)
# A record of a call's arguments or result, which nothing promises; and a value that is named to be ignored.
UNTESTED = re.compile(rb"severity::arguments|\btrace\.\w+\(|^static_cast<void>|\.reserve\(")
FUNCTIONS = {Kind.FUNCTION_DECL, Kind.CXX_METHOD, Kind.CONSTRUCTOR, Kind.DESTRUCTOR, Kind.CONVERSION_FUNCTION,
             Kind.FUNCTION_TEMPLATE}
# What stands in these is settled when the program is compiled, so that no run can change it.
SETTLED = {Kind.STATIC_ASSERT, Kind.ENUM_CONSTANT_DECL, Kind.PARM_DECL, Kind.TYPE_ALIAS_DECL, Kind.TYPEDEF_DECL,
           Kind.TEMPLATE_NON_TYPE_PARAMETER}


@dataclass(frozen=True)
class Candidate:
    """One change: `text[start:end]` of the file becomes `changed`, and `form` tells how both are built in together."""
    path: str
    start: int
    end: int
    line: int
    operator: str
    form: str  # "choice": (mutant ? changed : original); "skip": the statement is left out; "negate": a condition
    original: str
    changed: str


def is_symmetric(candidate):
    return candidate.operator == "arguments" and bool(SYMMETRIC.fullmatch(candidate.original.split("(")[0]))


def balanced(text):
    return all(text.count(a) == text.count(b) for a, b in ("()", "[]", "{}"))


class Finder:
    """Walks the functions of one file."""

    def __init__(self, path, text):
        self.path, self.text, self.found = path, text, []

    def cut(self, cursor):
        extent = cursor.extent
        return extent.start.offset, extent.end.offset

    def add(self, cursor, operator, form, changed="", span=None):
        start, end = span or self.cut(cursor)
        original = self.text[start:end].decode()
        # A macro's expansion has its place, but not its text here.
        if original and balanced(original) and balanced(changed) and "#" not in original:
            line = self.text.count(b"\n", 0, start) + 1
            self.found.append(Candidate(self.path, start, end, line, operator, form, original, changed))

    def operands(self, cursor):
        """Texts of both operands and the operator between them, or None where a macro hides it."""
        children = list(cursor.get_children())
        if len(children) != 2:
            return None
        start, end = self.cut(cursor)
        (left_start, left_end), (right_start, right_end) = map(self.cut, children)
        if not start == left_start < left_end < right_start < right_end == end:
            return None
        between = self.text[left_end:right_start].decode()
        operator = re.sub(r"//.*|\s+", "", between)
        return self.text[start:left_end].decode(), operator, self.text[right_start:end].decode()

    def binary(self, cursor):
        parts = self.operands(cursor)
        if parts is None:
            return
        left, operator, right = parts
        if operator in COMPARISONS:
            self.add(cursor, "comparison", "choice", f"({left}) {COMPARISONS[operator]} ({right})")
        elif operator in ARITHMETIC and self.is_number(cursor):
            self.add(cursor, "operator", "choice", f"({left}) {ARITHMETIC[operator]} ({right})")
        if operator == "|" and self.is_number(cursor):
            self.add(cursor, "flag", "choice", left)
            self.add(cursor, "flag", "choice", right)

    def is_number(self, cursor):
        kind = cursor.type.get_canonical().kind
        return cindex.TypeKind.BOOL.value <= kind.value <= cindex.TypeKind.LONGDOUBLE.value

    def assignment(self, cursor):
        parts = self.operands(cursor)
        if parts and parts[1] in ASSIGNMENTS and self.is_number(cursor):
            self.add(cursor, "operator", "choice", f"{parts[0]} {ASSIGNMENTS[parts[1]]} {parts[2]}")

    def number(self, cursor):
        start, end = self.cut(cursor)
        word = self.text[start:end].decode()
        if re.fullmatch(r"\d+[uUlLzZ]*", word):
            value, suffix = re.match(r"(\d+)(\w*)", word).groups()
            self.add(cursor, "constant", "choice", f"{int(value) + 1}{suffix}")
        elif re.fullmatch(r"0[xX][0-9a-fA-F']+[uUlL]*", word):
            self.add(cursor, "constant", "choice", f"({word} ^ 1)")
        elif word in ("true", "false"):
            self.add(cursor, "constant", "choice", "false" if word == "true" else "true")

    def condition(self, cursor):
        first = next(cursor.get_children(), None)
        start, _ = self.cut(cursor)
        if first is None or not first.kind.is_expression() or self.text[start:start + 13].startswith(b"if constexpr"):
            return
        self.add(first, "condition", "negate")

    def call(self, cursor):
        arguments = list(cursor.get_arguments())
        if len(arguments) < 2 or any(argument is None for argument in arguments):
            return
        start, end = self.cut(cursor)
        for one, two in zip(arguments, arguments[1:]):
            if one.type.get_canonical().spelling != two.type.get_canonical().spelling:
                continue
            (one_start, one_end), (two_start, two_end) = self.cut(one), self.cut(two)
            first, second = self.text[one_start:one_end].decode(), self.text[two_start:two_end].decode()
            if not start < one_start < one_end < two_start < two_end < end or first == second:
                continue
            if any(word in first + second for word in ("[", "std::move", "//", "::forward")):
                continue
            changed = (self.text[start:one_start].decode() + second + self.text[one_end:two_start].decode() + first +
                       self.text[two_end:end].decode())
            self.add(cursor, "arguments", "choice", changed)

    def statements(self, cursor):
        for statement in cursor.get_children():
            if not (statement.kind.is_expression() or statement.kind == Kind.CXX_THROW_EXPR):
                continue
            start, end = self.cut(statement)
            if self.text[end:end + 1] == b";" and not UNTESTED.search(self.text[start:end]):
                self.add(statement, "deletion", "skip")

    def settled(self, cursor):
        if cursor.kind in SETTLED:
            return True
        if cursor.kind == Kind.VAR_DECL:
            start, end = self.cut(cursor)
            head = self.text[start:end].split(b"=")[0].split(b"{")[0]
            return b"constexpr" in head or b"static const " in head or b"thread_local" in head or b"[" in head
        return False

    def walk(self, cursor, inside):
        if self.settled(cursor):
            return
        inside = inside or cursor.kind in FUNCTIONS
        children = list(cursor.get_children())
        if cursor.kind == Kind.CASE_STMT:
            children = children[1:]
        if inside:
            visit = {Kind.BINARY_OPERATOR: self.binary, Kind.COMPOUND_ASSIGNMENT_OPERATOR: self.assignment,
                     Kind.INTEGER_LITERAL: self.number, Kind.CXX_BOOL_LITERAL_EXPR: self.number,
                     Kind.IF_STMT: self.condition, Kind.CONDITIONAL_OPERATOR: self.condition,
                     Kind.CALL_EXPR: self.call, Kind.COMPOUND_STMT: self.statements}.get(cursor.kind)
            if visit:
                visit(cursor)
            # noexcept, alignment and template arguments come before the body.
            if cursor.kind in FUNCTIONS:
                children = [child for child in children if not child.kind.is_expression()]
        for child in children:
            self.walk(child, inside)


def system_includes(compiler):
    """The compiler's own folders, without its intrinsics, of which libclang has its own."""
    lines = subprocess.run([compiler, "-E", "-v", "-x", "c++", "/dev/null"], capture_output=True, text=True).stderr
    folders = re.search(r"<\.\.\.> search starts here:\n(.*?)End of search", lines, re.S)[1].split()
    folders = [str(Path(folder).resolve()) for folder in folders]
    resource = next(iter(sorted(Path("/usr/lib").glob("llvm-*/lib/clang/*/include"), reverse=True)), None)
    own = [str(resource)] if resource else []
    for folder in [*(f for f in folders if "c++" in f), *own, *(f for f in folders if "c++" not in f and "/gcc/" not in f)]:
        yield from ("-isystem", folder)


def parse_arguments(command, directory):
    words = shlex.split(command)
    kept, take = [], False
    for word in words[1:]:
        if take or word.startswith(("-I", "-D", "-std=")) or word == "-isystem":
            kept.append(word)
            take = word in ("-isystem", "-I", "-D")
    windows = ["--target=x86_64-w64-windows-gnu"] if "mingw" in words[0] else []
    return [*windows, "-nostdinc", "-nostdinc++", "-ferror-limit=0", *kept, *system_includes(words[0])]


def scan(job):
    """All candidates of one translation unit, by file: of its source and of our headers that it includes."""
    root, entry = job
    unit = cindex.Index.create().parse(entry["file"], args=parse_arguments(entry["command"], entry["directory"]))
    for problem in unit.diagnostics:
        if problem.severity == cindex.Diagnostic.Fatal:
            raise SystemExit(f"error: {entry['file']} cannot be read: {problem}")
    finders = {}
    for cursor in unit.cursor.get_children():
        name = cursor.location.file.name if cursor.location.file else ""
        path = str(Path(name).resolve())[len(root) + 1:] if name.startswith(root) else ""
        if path.startswith(PRODUCT):
            if path not in finders:
                finders[path] = Finder(path, Path(root, path).read_bytes())
            finders[path].walk(cursor, False)
    return {path: finder.found for path, finder in finders.items()}


def find(root, build, pattern):
    """Candidates of all product files that the build folder compiles and whose path matches, by path."""
    found = find_all(root, build)
    return {path: found[path] for path in sorted(found) if re.search(pattern, path)}


def find_all(root, build):
    """Kept beside the build until a source changes, since looking takes minutes."""
    digest = hashlib.sha256(Path(__file__).read_bytes())
    for folder in PRODUCT:
        for path in sorted(Path(root, folder).rglob("*.[ch]pp")):
            digest.update(str(path).encode() + path.read_bytes())
    kept = Path(build, f"places.{digest.hexdigest()[:16]}")
    if not kept.exists():
        kept.write_bytes(pickle.dumps(look(root, build)))
    return pickle.loads(kept.read_bytes())


def look(root, build):
    entries = {}
    for entry in json.loads(Path(build, "compile_commands.json").read_text()):
        if entry["file"][len(root) + 1:].startswith(PRODUCT):
            entries.setdefault(entry["file"], entry)
    found = {}
    with multiprocessing.Pool() as pool:
        for unit in pool.imap_unordered(scan, [(root, entry) for _, entry in sorted(entries.items())]):
            for path, candidates in unit.items():
                found.setdefault(path, set()).update(candidates)
    return {path: sorted(places, key=lambda c: (c.start, c.end, c.operator, c.changed)) for path, places in found.items()}
