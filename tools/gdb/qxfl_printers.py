"""Shows values of libqxfl's types in gdb as a reader of the program would write them.

    (gdb) source DIR/qxfl_printers.py
    (gdb) print how
    $1 = context = {std_in_ = inherit_from_parent, std_out_ = pipe_to iopipe_device {read 0x50, write 0x54}, …}

Under the name libqxfl.dll-gdb.py, beside the DLL, gdb loads it by itself where `set auto-load safe-path` allows that.

What can be shown: ustring, stacktrace, thread_context, exit_status_variant, iopipe_device, command, context and the
alternatives of its streams, environment_map. What the types are made of stands in a program that was compiled with -g, and
in the library's symbols as DWARF; gdb reads no PDB. The layouts are those of libstdc++ and Boost.

A value that was not built yet, or was overwritten, gives a text in angle brackets and no error. No password is shown.
gdb's own limits hold: `set print elements` for texts and lists.
"""

import re

import gdb
import gdb.printing

PROCESS = "foundation::core::process::"
MOST_ELEMENTS = 1 << 24  # Nobody has more; who seems to is broken.


class Broken(Exception):
    """The value is none that the program could have made."""


# Those of gdb are among the first kind.
READING_ERRORS = RuntimeError, Broken, ValueError, OverflowError, TypeError, AttributeError


class Printer:
    """Whatever goes wrong while a value is read becomes text."""

    def __init__(self, value):
        self._value = value

    def to_string(self):
        try:
            return self.text(self._value)
        except READING_ERRORS as error:
            return f"<cannot be shown: {error}>"

    def text(self, value):
        raise NotImplementedError


class Parent(Printer):
    """One that has parts, too, behind its text."""

    def children(self):
        try:
            yield from self.parts(self._value)
        except READING_ERRORS as error:
            yield "rest", f"<cannot be shown: {error}>"

    def parts(self, value):
        raise NotImplementedError


# ---- what the types are made of ----


def limit():
    """How many characters or elements gdb wants to see."""
    return gdb.parameter("print elements") or 1 << 20


def checked(count, what):
    if not 0 <= count <= MOST_ELEMENTS:
        raise Broken(f"{count} {what}")
    return count


def quoted(string):
    """The text of a std::string in quotes, with escapes, cut at gdb's limit."""
    length = checked(int(string["_M_string_length"]), "characters")
    shown = min(length, limit())
    start = int(string["_M_dataplus"]["_M_p"])
    data = bytes(gdb.selected_inferior().read_memory(start, shown)) if shown else b""
    text = data.decode("utf-8", "backslashreplace")
    escaped = "".join(c if c.isprintable() and c not in '"\\' else {'"': '\\"', "\\": "\\\\", "\n": "\\n", "\r": "\\r",
                      "\t": "\\t"}.get(c, f"\\x{ord(c):02x}") for c in text)
    return f'"{escaped}"' + ("..." if shown < length else "")


def vector_elements(vector):
    first, last = vector["_M_impl"]["_M_start"], vector["_M_impl"]["_M_finish"]
    distance, size = int(last) - int(first), first.dereference().type.sizeof
    if distance % size:
        raise Broken("a list that ends inside an element")
    return [first[index] for index in range(min(checked(distance // size, "elements"), limit()))], distance // size


def tree_size(tree):
    return checked(int(tree["_M_t"]["_M_impl"]["_M_node_count"]), "elements")


def tree_elements(tree):
    """The elements of a std::map or std::set in their order."""
    implementation = tree["_M_t"]["_M_impl"]
    element = tree["_M_t"].type.strip_typedefs().template_argument(1).pointer()
    node = implementation["_M_header"]["_M_left"]
    for _ in range(tree_size(tree)):
        yield (node + 1).cast(element).dereference()
        node = next_node(node)


def next_node(node):
    depth = 0
    if int(node["_M_right"]):
        node = node["_M_right"]
        while int(node["_M_left"]):
            node, depth = node["_M_left"], checked_depth(depth)
        return node
    above = node["_M_parent"]
    while int(node) == int(above["_M_right"]):
        node, above, depth = above, above["_M_parent"], checked_depth(depth)
    return above if int(node["_M_right"]) != int(above) else node


def checked_depth(depth):
    if depth > 128:
        raise Broken("a tree that is none")
    return depth + 1


def optional_value(optional):
    """What a boost::optional holds, or None."""
    if not int(optional["m_initialized"]):
        return None
    storage = optional["m_storage"]
    held = optional.type.strip_typedefs().template_argument(0)
    return storage if storage.type.strip_typedefs() == held.strip_typedefs() else in_memory(storage, held)


def in_memory(storage, held):
    if storage.address is None:
        raise Broken("a value that is nowhere in memory")
    return storage.address.cast(held.pointer()).dereference()


def variant_value(variant):
    """The alternative that a boost::variant holds."""
    which = int(variant["which_"])
    which = which if which >= 0 else -(which + 1)  # The alternative has moved to the heap while another was assigned.
    alternatives = template_arguments(str(variant.type.strip_typedefs().unqualified()))
    if which >= len(alternatives):
        raise Broken(f"alternative {which}")
    return in_memory(variant["storage_"], gdb.lookup_type(alternatives[which]))


def template_arguments(name):
    """Those of a name: of a pack, which most here are, gdb knows only the first one as a type."""
    depth, arguments = 0, [""]
    for character in name.partition("<")[2].rstrip(" >"):
        depth += {"<": 1, ">": -1}.get(character, 0)
        if character == "," and depth == 0:
            arguments.append("")
        else:
            arguments[-1] += character
    return [argument.strip() for argument in arguments]


def read_words(address, count, size=8):
    data = bytes(gdb.selected_inferior().read_memory(address, count * size))
    return [int.from_bytes(data[at : at + size], "little") for at in range(0, len(data), size)]


# ---- the types ----


class String(Printer):
    """A ustring, and the std::string that others consist of, which gdb shows in the same way where it knows it."""

    def text(self, value):
        length = checked(int(value["_M_string_length"]), "characters")
        return value["_M_dataplus"]["_M_p"].lazy_string(length=length)


class Stacktrace(Parent):
    def frames(self, value):
        base = value.cast(gdb.lookup_type("foundation::core::diag::stacktrace_base"))
        capacity, size = int(base["capacity_"]), int(base["end_"]) - int(value.address) - base.type.sizeof
        if size % 8 or not 0 <= size // 8 <= checked(capacity, "frames"):
            raise Broken(f"not a stack: its end is {size} bytes behind its beginning, with room for {capacity} frames")
        return int(value.address) + base.type.sizeof, size // 8, capacity

    def text(self, value):
        _, size, capacity = self.frames(value)
        return f"stacktrace of {size} frames, room for {capacity}"

    def parts(self, value):
        begin, size, _ = self.frames(value)
        frame = gdb.lookup_type("void").const().pointer().pointer()
        for index in range(size):
            yield f"[{index}]", gdb.Value(begin + 8 * index).cast(frame).dereference()

    def display_hint(self):
        return "array"


class ThreadContext(Parent):
    # Offsets in the system's record.
    REGISTERS = 0x78, "rax rcx rdx rbx rsp rbp rsi rdi r8 r9 r10 r11 r12 r13 r14 r15 rip".split()
    FLAGS = 0x44

    def text(self, value):
        if not int(value["valid_"]):
            return "empty thread_context"
        return "thread_context"

    def parts(self, value):
        if not int(value["valid_"]):
            return
        record = int(value["data_"].address)
        offset, names = self.REGISTERS
        words = dict(zip(names, read_words(record + offset, len(names))))
        code = gdb.lookup_type("void").pointer()
        for name in ("rip", *names[:-1]):
            yield name, gdb.Value(words[name]).cast(code)
        yield "eflags", gdb.Value(read_words(record + self.FLAGS, 1, 4)[0]).cast(code)


class ExitStatus(Printer):
    ALTERNATIVES = "unknown", "exited", "signaled"

    def text(self, value):
        index = int(value["_M_index"])
        if index == 0xFF:
            return "valueless exit status"
        if index >= len(self.ALTERNATIVES):
            raise Broken(f"alternative {index}")
        if index == 0:
            return "unknown"
        held = value["_M_u"]
        for _ in range(index):
            held = held["_M_rest"]
        held = held["_M_first"]["_M_storage"]
        if index == 1:
            return f"exited {int(held['exit_code'])} (0x{int(held['native_status']):08x})"
        return f"signaled {int(held['signal'])} (0x{int(held['native_status']):08x})"


class IopipeDevice(Printer):
    def text(self, value):
        shared = int(value["impl_"]["px"])
        if shared == 0:
            return "iopipe_device {none}"
        # What all copies share begins with its two handles and whether each is open; its class is not public.
        handles, flags = read_words(shared, 2), read_words(shared + 16, 2, 1)
        if any(flag > 1 for flag in flags):
            raise Broken("not a pipe")
        ends = [f"0x{handle:x}" if is_open else "closed" for handle, is_open in zip(handles, flags)]
        return f"iopipe_device {{read {ends[0]}, write {ends[1]}}}"


class Command(Printer):
    def text(self, value):
        arguments, count = vector_elements(value["args_"])
        return " ".join([quoted(value["name_"]), *map(quoted, arguments)]) + (" ..." if len(arguments) < count else "")


class Stream(Printer):
    """An alternative of a child's standard stream, or the variant of them."""

    def text(self, value):
        kind = value.type.strip_typedefs().unqualified()
        if str(kind).startswith("boost::variant<"):
            return self.text(variant_value(value))
        name = str(kind).rpartition("::")[2]
        fields = {field.name for field in kind.fields()}
        if "device_" in fields:
            return f"{name} {IopipeDevice(value['device_']).text(value['device_'])}"
        return f"{name} {quoted(value['file_'])}" if "file_" in fields else name


class User(Printer):
    def text(self, value):
        return f"{quoted(value['name'])} <credentials>"


class Environment(Parent):
    def text(self, value):
        return f"environment of {tree_size(value)} variables"

    def parts(self, value):
        for index, variable in enumerate(tree_elements(value)):
            yield f"name {index}", variable["first"]
            yield f"value {index}", variable["second"]

    def display_hint(self):
        return "map"


class Context(Parent):
    """Only what was set; the environment, which is long, comes last."""

    FLAGS = "detached_process_", "explicitly_inherit_handles_", "create_no_window_", "hide_windows_"

    def text(self, value):
        tree_size(value["environment_"])
        for stream in ("std_in_", "std_out_", "std_err_"):
            variant_value(value[stream])
        return "context"

    def parts(self, value):
        for name in ("std_in_", "std_out_", "std_err_"):
            yield name, value[name]
        for name in ("directory_", "user_", *self.FLAGS):
            held = optional_value(value[name])
            if held is not None:
                yield name, held
        if int(value["elevation_level_"]):
            yield "elevation_level_", value["elevation_level_"]
        for index, handle in enumerate(tree_elements(value["inherited_handles_"]["px"].dereference())):
            yield f"inherited_handles_[{index}]", handle
        for index, pipe in enumerate(tree_elements(value["inherited_pipes_"])):
            yield f"inherited_pipes_[{index}]", pipe["first"]
        yield "environment_", value["environment_"]


# ---- registration ----


def build():
    printers = gdb.printing.RegexpCollectionPrettyPrinter("qxfl")
    string = r"^std::(__cxx11::)?basic_string<{0}, ?std::char_traits<{0}>, ?std::allocator<{0}> ?>$"
    alternatives = "inherit_from_parent|pipe_from|pipe_to|read_from_file|overwrite_file|append_to_file|discard"
    for name, pattern, printer in (
        ("ustring", string.format("char16_t"), String),
        ("string", string.format("char"), String),
        ("stacktrace", r"^foundation::core::diag::stacktrace(_base$|<\d+\w*>$)", Stacktrace),
        ("thread_context", "^foundation::core::diag::thread_context$", ThreadContext),
        ("exit_status_variant", rf"^std::variant<{PROCESS}detail::unknown, ?{PROCESS}detail::exited\b", ExitStatus),
        ("iopipe_device", rf"^{PROCESS}(const_)?iopipe_device(_base)?$", IopipeDevice),
        ("command", rf"^{PROCESS}command$", Command),
        ("context", rf"^{PROCESS}context$", Context),
        ("context::User", rf"^{PROCESS}context::User$", User),
        ("stream", rf"^{PROCESS}({alternatives}|merge_with_stdout)$", Stream),
        ("streams", rf"^boost::variant<{PROCESS}inherit_from_parent\b", Stream),
        ("environment_map", r"^std::map<.*foundation::core::util::lexicographical_iless\b", Environment),
    ):
        printers.add_printer(name, pattern, printer)
    return printers


# Sourced, they hold for all; loaded with a module, for as long as that is there.
gdb.printing.register_pretty_printer(gdb.current_objfile(), build(), replace=True)
