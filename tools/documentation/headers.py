"""What Doxygen reads of a public header: the house's comments, put into its language.

A header's opening comment becomes that of the file. In every comment, what Doxygen would take for its own (`<fl/io.hpp>`,
a lone backslash) is escaped, and lines that stand further in are code. What only the library needs is left out."""

import re

SPECIAL = re.compile(r"[\\<>#%&@]")
COMMAND = re.compile(r"@(throws|return)\b")
ITEM = re.compile(r"(\s*)([-*]|\d+\.)(\s+)")
CODE_SIGN = re.compile(r"[;{}]\s*($|//)|#include")
FOREIGN = {f"namespace {name} {{": f"}}  // namespace {name}" for name in ("std", "boost")}
DETAIL = re.compile(r"using detail::\w+;")
LEFT_OUT = re.compile(r"\s*// NOLINT\w*(\([^)]*\))?(:.*)?$")


def escape(text):
    """Outside of code spans, nothing is a command but the few that the house uses."""

    def plain(part):
        return SPECIAL.sub(lambda m: m[0] if COMMAND.match(part, m.start()) else "\\" + m[0], part)

    parts = re.split(r"(`[^`]*`)", text)
    return "".join(part if number % 2 else plain(part) for number, part in enumerate(parts))


def comment(lines, joined=False):
    """The lines of a comment without their marks, as Doxygen is to have them, each with its number in the source."""
    result, code, content, span = [], [], 0, False

    def end_code():
        while code and not code[-1][1]:
            result.append(code.pop())
            blank.append(result.pop())
        if not code:
            return
        margin = min(len(text) - len(text.lstrip()) for _, text in code if text)
        signs = sum(bool(CODE_SIGN.search(text)) for _, text in code)  # A table has one by chance.
        kind = "{.cpp}" if 3 * signs >= len(code) else "{.unparsed}"
        pad = " " * content
        result.append((code[0][0], pad + "@code" + kind))
        result.extend((number, pad + text[margin:]) for number, text in code)
        result.append((code[-1][0], pad + "@endcode"))
        code.clear()

    blank = []
    for number, text in lines:
        text = text.rstrip()
        indent = len(text) - len(text.lstrip())
        if text and not span and indent >= content + 2 and not ITEM.match(text):
            code.append((number, text))
            continue
        if not text and code:
            code.append((number, text))
            continue
        end_code()
        result.extend(reversed(blank))
        blank.clear()
        item = ITEM.match(text)
        if item:
            content = item.end()
        elif text and indent < content:
            content = 0
            if result and result[-1][1]:
                result.append((number, ""))  # Or it would go on with the last item of the list.
        # A code span may go on in the next line.
        if span:
            head, mark, tail = text.partition("`")
            text = head + mark + escape(tail) if mark else head
            span = not mark or tail.count("`") % 2 == 1
        else:
            span = text.count("`") % 2 == 1
            text = escape(text)
        result.append((number, text))
    end_code()
    result.extend(reversed(blank))
    return result


def marked(lines, indent="", mark="///"):
    return [(number, (indent + mark + " " + text).rstrip()) for number, text in comment(lines)]


def translate(source):
    """The header's text as (line number, text)."""
    lines = list(enumerate(source.split("\n"), 1))
    # Names that stand in `detail` and are offered outside of it are shown as they are offered.
    shown_details = any(DETAIL.match(text) for _, text in lines)
    result, position = [], 0

    def block(pattern):
        nonlocal position
        found = []
        while position < len(lines):
            match = pattern.match(lines[position][1])
            if not match or match[0].lstrip().startswith("///<"):
                break
            found.append((lines[position][0], match[1]))
            position += 1
        return found

    opening = block(re.compile(r"//(?!/) ?(.*)"))
    if opening:
        result.append((1, "/// @file"))
        result.extend(marked(opening))
        result.append((opening[-1][0], ""))
    while position < len(lines):
        number, text = lines[position]
        if text in FOREIGN:  # What others have and describe, in a form of our own; the opening comment tells why.
            while lines[position][1] != FOREIGN[text]:
                position += 1
            position += 1
            continue
        if shown_details and (text in ("namespace detail {", "}  // namespace detail") or DETAIL.match(text)):
            position += 1
            continue
        if text.lstrip().startswith("///") and not text.lstrip().startswith("///<"):
            indent = text[: len(text) - len(text.lstrip())]
            result.extend(marked(block(re.compile(r"\s*/// ?(.*)")), indent))
            continue
        if text.strip() and LEFT_OUT.match(text) and not text.strip().startswith("///"):
            position += 1
            continue
        code, mark, trailing = text.partition("///<")
        code = re.sub(r"\s*// NOLINT.*", "", code)
        result.append((number, code + (mark + escape(trailing) if mark else "")))
        position += 1
    return result


# What the language settles needs no comment in a header; here each has one line for whoever looks it up.
NAME = re.compile(r"(operator\s*(?:\(\)|\[\]|[^\s\w(]+|[\w:][\w:]*)|~?\w+)\s*\(")
SCOPE = re.compile(r"(?:template <.*> )?(class|struct|namespace)\b (?:[A-Z_0-9]+_API )?([\w:]+)?(?:<.*>)?[^;()]*{$")


STANDARD = re.compile(
    r"using (\w*iterator|value_type|is_always_equal|propagate_on_\w+) =|\b(c?r?(begin|end)|size|empty)\(\)|\bswap\(\w+&"
)
SEVERAL = re.compile(r"((?:[\w:]+(?:<[^=]*?>)?) )(\w+(?: = [^,]+|{[^}]*})?(?:, \w+(?: = [^,]+|{[^}]*})?)+);$")


def without_template(declaration):
    while declaration.startswith("template <"):
        depth = 0
        for position, character in enumerate(declaration):
            depth += {"<": 1, ">": -1}.get(character, 0)
            if character == ">" and depth == 0:
                declaration = declaration[position + 1 :].lstrip()
                break
        else:
            break
    return declaration


def shown(code):
    """A declaration without what only the compiler is to see: conditions on template parameters, and `detail`."""
    while True:
        begin = re.search(r",\s*(?:std::enable_if_t|detail::standard_open_mode)<", code)
        if not begin:
            break
        position, depth = begin.end(), 1
        while depth:
            depth += {"<": 1, ">": -1}.get(code[position], 0)
            position += 1
        code = code[: begin.start()] + re.sub(r"^\s*= 0", "", code[position:])
    code = re.sub(r" = detail::\w+\((?:[^()]|\([^()]*\))*\)(?=\s*[,}])", "", code)  # the values of enumerators
    return re.sub(r",\s*private detail::[\w<>]+", "", code)


def settled(declaration, scope):
    """The comment for what has its meaning from the language, or None."""
    text = without_template(declaration)
    own = re.escape(scope or "\0") + r"(?:<[^()]*>)?"
    deleted = "= delete" in text
    if re.search(rf"~{own}\(", text):
        return "The destructor."
    if re.search(rf"\boperator=\((?:const )?{own}\s*&", text):
        kind = "move" if "&&" in text else "copy"
        return "Cannot be assigned to." if deleted else f"The {kind} assignment."
    if re.match(rf"(?:constexpr |explicit |inline |[A-Z_0-9]+_API )*{own}\((?:const )?{own}\s*&[^,]*\)", text):
        kind = "moved" if "&&" in text else "copied"
        return f"Cannot be {kind}." if deleted else f"The {'move' if kind == 'moved' else 'copy'} constructor."
    if re.match(rf"(?:constexpr |inline |[A-Z_0-9]+_API )*{own}\(\)", text):
        return "The default constructor."
    if deleted:
        return "Such a call does not compile."
    if "operator!=(" in text:
        return "The opposite of `==`."
    if re.search(r"\bwhat\(\) const noexcept override", text):
        return "The text of the error."
    if STANDARD.search(text):
        return "As in the standard library."
    return None


def written(lines):
    """The lines of a declaration as they are shown, which are not more."""
    texts = shown("\n".join(text for _, text in lines)).split("\n")
    return [(number, text) for (number, _), text in zip(lines, texts)]


def completed(lines):
    """The same with a comment for each declaration that needs none in the source: what the language settles, and an
    overload that directly follows another, which shares its comment."""
    result, doc, last_name, last_doc = [], [], None, []
    scopes = [None]  # names of classes; None for a namespace
    position = 0
    while position < len(lines):
        number, text = lines[position]
        stripped = text.strip()
        if stripped.startswith("///"):
            doc.append((number, text))
            result.append((number, text))
            position += 1
            continue
        if not stripped or stripped.startswith(("#", "//")) or re.match(r"(public|private|protected):", stripped):
            doc = [] if not stripped else doc
            last_name = last_name if not stripped else None
            result.append((number, text))
            position += 1
            continue
        if re.match(r"};?|}  // namespace", stripped):
            if len(scopes) > 1:
                scopes.pop()
            doc, last_name = [], None
            result.append((number, text))
            position += 1
            continue
        # A declaration, to its end.
        begin, code = position, ""
        while position < len(lines):
            code += (" " if code else "") + re.sub(r"\s*//.*", "", lines[position][1]).strip()
            position += 1
            if code.count("(") <= code.count(")") and re.search(r"[;{}]$", code):
                break
        if code.startswith("friend ") and code.endswith(";") and not doc:  # Who may look inside is nobody's business.
            continue
        scope = SCOPE.match(code)
        if scope:
            scopes.append(scope[2] if scope[1] != "namespace" else None)
            result.extend(written(lines[begin:position]))
            doc, last_name = [], None
            continue
        while code.count("{") > code.count("}") and position < len(lines):  # The body of a function or an enumeration.
            code += " " + re.sub(r"\s*//.*|'[{}]'|\"[^\"]*\"", "", lines[position][1]).strip()
            position += 1
        name = NAME.search(without_template(code))
        name = name[1] if name else None
        indent = text[: len(text) - len(text.lstrip())]
        line = None
        trailing = any("///<" in line for _, line in lines[begin:position])
        if not doc and not trailing:
            line = settled(code, scopes[-1])
            if line:
                doc = [(number, f"{indent}/// {line}")]
            elif name and name == last_name:
                doc = [(number, line) for _, line in last_doc]
            result.extend(doc)
        several = SEVERAL.match(code) if doc else None
        if several:  # Doxygen gives the comment to the first only.
            variables = several[2].split(", ")
            result.append((number, f"{indent}{several[1]}{variables[0]};"))
            for variable in variables[1:]:
                result.extend(doc + [(number, f"{indent}{several[1]}{variable};")])
        else:
            result.extend(written(lines[begin:position]))
        # A line of the language's own says nothing of another overload.
        last_name, last_doc, doc = name if not line else None, doc, []
    return result
