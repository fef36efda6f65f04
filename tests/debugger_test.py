"""What debuggers show of the library's types: gdb by tools/gdb/qxfl_printers.py, in a program that runs, and others by
tools/natvis/qxfl.natvis, whose expressions gdb evaluates here: they name members that must be there. Run by CTest as

    debugger_test.py PROGRAM

and then once more by gdb itself, in which the program has stopped.
"""

import re
import subprocess
import sys
import unittest
import xml.etree.ElementTree as ElementTree
from fnmatch import fnmatchcase
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent


def run_under_gdb(program):
    commands = f"break look\ncontinue\nsource {__file__}\n"
    done = subprocess.run([ROOT / "tools/debug", program], input=commands, text=True, timeout=500, check=False)
    return done.returncode


class Printers(unittest.TestCase):
    def expect(self, expression, text):
        shown = gdb.execute(f"print {expression}", to_string=True).partition(" = ")[2].rstrip("\n")
        self.assertEqual(re.sub(r"^\(.*?\) @0x\w+: ", "", shown), text, expression)

    def test_values(self):
        pipe = gdb.parse_and_eval("shown.pipe_text").string()
        stream = re.search("{.*}", gdb.execute("print shown.how.std_out_", to_string=True))[0]
        for expression, text in {
            "text": r'u"grün \"1\""',
            "long_text": "u'x' <repeats 200 times>...",
            "no_stack": "stacktrace of 0 frames, room for 8",
            "no_registers": "empty thread_context",
            "running": "unknown",
            "ended": "exited 3221225477 (0xc0000005)",
            "stopped": "signaled 11 (0x00000009)",
            "pipe": f"iopipe_device {{{pipe}}}",
            "plain": '"tool"',
            "tool": r'"tool.exe" "-c" "my file.c" "\"\\\n"',
            "as_it_is": "context = {std_in_ = inherit_from_parent, std_out_ = inherit_from_parent, std_err_ = "
                        "inherit_from_parent, environment_ = environment of 0 variables}",
            "how": 'context = {std_in_ = read_from_file "in.txt", '
                   f'std_out_ = pipe_to iopipe_device {stream}, '
                   r'std_err_ = merge_with_stdout, directory_ = "C:\\work", user_ = "me" <credentials>, '
                   "create_no_window_ = false, hide_windows_ = true, "
                   "elevation_level_ = foundation::core::process::ElevationLevel::Elevated, "
                   "inherited_handles_[0] = 0x5c, "
                   'environment_ = environment of 3 variables = {["a"] = "1", ["B"] = "2", ["C"] = "3"}}',
        }.items():
            self.expect(f"shown.{expression}", text)
        self.assertRegex(stream, "^{read 0x[0-9a-f]+, write 0x[0-9a-f]+}$")
        self.assertRegex(gdb.execute("print shown.half_pipe", to_string=True), r"{read 0x[0-9a-f]+, write closed}\n$")

    def test_stacks_and_registers(self):
        frames = re.findall("0x[0-9a-f]+", gdb.execute("print shown.stack", to_string=True))
        known = gdb.parse_and_eval("shown.frames")
        known = [int(known[index]) for index in range(8) if known[index]]
        self.assertEqual([int(frame, 16) for frame in frames], known)
        self.assertRegex(gdb.execute("print shown.registers", to_string=True),
                         r"{rip = 0x\w+ <.*values::values\(\)\+\d+>, rax = .* r15 = 0x\w+, eflags = 0x")

    def test_values_that_are_none(self):
        names = [field.name for field in gdb.parse_and_eval("junk").type.strip_typedefs().target().fields()][:-2]
        for name in names:  # Of what a printer throws, gdb makes an empty text.
            self.assertRegex(gdb.execute(f"print empty.{name}", to_string=True), r" = \S", name)
            shown = gdb.execute(f"print junk.{name}", to_string=True)
            self.assertIn("rip = 0xc1c1" if "registers" in name else "<cannot be shown: ", shown, name)
        self.expect("junk.text", "<cannot be shown: 13961653357748797889 characters>")


class Natvis(unittest.TestCase):
    """A reading of the file as far as it goes here: which display string holds for a value, and what it says."""

    TREE = ElementTree.parse(ROOT / "tools/natvis/qxfl.natvis").getroot() if "gdb" in sys.modules else ()
    VALUES = ["text", "tool.name_", "stack", "no_stack", "registers", "no_registers", "running", "ended", "stopped",
              "pipe", "half_pipe", "tool", "how", "as_it_is", "how.environment_"]
    HELD = {"how.std_out_.storage_": ["pipe_to", "pipe_from"], "how.user_.m_storage": ["context::User"],
            "how.std_in_.storage_": ["read_from_file", "overwrite_file", "append_to_file"]}

    # Which elements stand in which, in this order, as far as the file has need of them.
    STRUCTURE = {"AutoVisualizer": ["Type"], "Type": ["DisplayString", "StringView", "Expand"],
                 "Expand": ["Item", "ArrayItems", "TreeItems"], "ArrayItems": ["Size", "ValuePointer"],
                 "TreeItems": ["Size", "HeadPointer", "LeftPointer", "RightPointer", "ValueNode"]}
    ATTRIBUTES = {"Type": {"Name", "Inheritable"}, "DisplayString": {"Condition"}, "Item": {"Name", "Condition"},
                  "ValueNode": {"Name"}}

    def test_structure(self):
        self.assertEqual(self.TREE.tag, "{http://schemas.microsoft.com/vstudio/debugger/natvis/2010}AutoVisualizer")
        for element in self.TREE.iter():
            tag = self.plain(element)
            allowed = self.STRUCTURE.get(tag, [])
            places = [allowed.index(self.plain(child)) for child in element]  # Fails on others.
            self.assertEqual(places, sorted(places), element.attrib)
            self.assertLessEqual(set(element.attrib), self.ATTRIBUTES.get(tag, set()), tag)

    @staticmethod
    def plain(element):
        return element.tag.rpartition("}")[2]

    @staticmethod
    def names(value):
        """Of its type and of those that this is derived from, spelt as in the file."""
        kind = value.type.strip_typedefs()
        yield re.sub(r"\s*([,>])\s*", r"\1", str(kind.unqualified())), kind
        for field in kind.fields() if kind.code == gdb.TYPE_CODE_STRUCT else ():
            if field.is_base_class:
                yield from Natvis.names(value.cast(field.type))

    @staticmethod
    def evaluate(expression, value):
        """The expression as the file has it, in the scope of the value, which becomes one of gdb's variables."""
        gdb.set_convenience_variable("natvis", value.address)
        fields, kinds = set(), [value.type.strip_typedefs()]
        while kinds:
            kind = kinds.pop()
            fields |= {field.name for field in kind.fields() if not field.is_base_class}
            kinds += [field.type.strip_typedefs() for field in kind.fields() if field.is_base_class]
        expression = re.sub(r",(\[\w+\])?(su|s8|sb|x)$", "", expression)
        expression = re.sub(r'(?<![\w.>:"])(\w+)(?![\w:<])',
                            lambda word: f"$natvis->{word[1]}" if word[1] in fields else word[1], expression)
        return gdb.parse_and_eval(re.sub(r"\bthis\b", "$natvis", expression))

    def holds(self, element, value):
        return "Condition" not in element.attrib or bool(self.evaluate(element.attrib["Condition"], value))

    def display(self, kind, value):
        for element in kind:
            if self.plain(element) == "DisplayString" and self.holds(element, value):
                return re.sub(r"{(.+?)}(?=[^}]*(?:{|$))", lambda part: self.show(part[1], value), element.text)
        return None

    def show(self, expression, value):
        shown = self.evaluate(expression, value)
        shown.fetch_lazy()
        return hex(int(shown)) if expression.endswith(",x") or shown.type.code == gdb.TYPE_CODE_PTR else str(shown)

    def test_expressions_and_texts(self):
        left, texts = {kind.attrib["Name"] for kind in self.TREE}, {}
        values = {name: gdb.parse_and_eval(f"shown.{name}") for name in self.VALUES}
        for storage, kinds in self.HELD.items():
            for kind in kinds:
                held = gdb.lookup_type(f"foundation::core::process::{kind}").pointer()
                values[kind] = gdb.parse_and_eval(f"&shown.{storage}").cast(held).dereference()
        for name, value in values.items():
            for kind in self.TREE:
                pattern = re.sub(r"\s*([,>])\s*", r"\1", kind.attrib["Name"])
                found = next((base for spelt, base in self.names(value) if fnmatchcase(spelt, pattern)), None)
                if found is not None:
                    left.discard(kind.attrib["Name"])
                    self.evaluate_all(kind, value)
                    texts[name] = self.display(kind, value)
        self.assertEqual(left, set(), "no value has these types any more")
        pipe = gdb.parse_and_eval("shown.pipe_text").string()
        count = sum(1 for index in range(8) if gdb.parse_and_eval("shown.frames")[index])
        expected = {"running": "unknown", "ended": "exited 3221225477 (0xc0000005)", "stopped": "signaled 11 (0x9)",
                    "pipe": pipe, "no_registers": "empty", "stack": f"{count} of 8 frames", "no_stack": "0 of 8 frames",
                    "how.environment_": "3 variables", "as_it_is": "0 variables"}
        self.assertEqual({name: texts[name] for name in expected}, expected)
        self.assertTrue(texts["half_pipe"].endswith("write closed"), texts["half_pipe"])
        self.assertIn(" with 3 arguments", texts["tool"])

    def evaluate_all(self, kind, value):
        """Whatever the conditions say: all that is named has to be there."""
        for element in kind.iter():
            tag, texts = self.plain(element), []
            if tag == "DisplayString":
                texts = re.findall(r"{(.+?)}(?=[^}]*(?:{|$))", element.text)
            elif tag not in ("Type", "Expand", "ArrayItems", "TreeItems"):
                texts = [element.text]
            scope = value
            if tag in ("LeftPointer", "RightPointer", "ValueNode"):
                scope = value["_M_t"]["_M_impl"]["_M_header"]["_M_parent"].dereference()
                texts += re.findall("{(.+)}", element.attrib.get("Name", ""))
            for text in texts + [element.attrib[name] for name in ("Condition",) if name in element.attrib]:
                try:
                    self.evaluate(text, scope)
                except gdb.error as error:
                    self.fail(f"{kind.attrib['Name']}: {text}: {error}")


if "gdb" in sys.modules:
    import gdb

    result = unittest.main(argv=["debugger_test"], exit=False).result
    gdb.execute(f"quit {0 if result.wasSuccessful() and result.testsRun else 1}")
elif __name__ == "__main__":
    sys.exit(run_under_gdb(sys.argv[1]))
