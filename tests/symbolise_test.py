"""What tools/symbolise makes of the reports of a program without debug information. Run by CTest as

    symbolise_test.py BIN_DIR WINE STRIP OBJCOPY

BIN_DIR has crash_report.exe and the DLLs as they were built, with their debug information inside or in PDBs beside.
"""

import re
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest
import zipfile
from pathlib import Path

BIN, WINE, STRIP, OBJCOPY = sys.argv[1:5]
ROOT = Path(__file__).resolve().parent.parent
SOURCE = ROOT / "examples/crash_report/crash_report.cpp"
MODULES = ("crash_report.exe", "libqxfl.dll", "libqxkit.dll")


def line_of(text):
    (line,) = [number for number, line in enumerate(SOURCE.read_text().splitlines(), 1) if text in line]
    return line


def symbolise(report, *arguments):
    done = subprocess.run([ROOT / "tools/symbolise", *arguments], input=report, capture_output=True, text=True,
                          check=False)
    return done.returncode, done.stdout, done.stderr


def places(text):
    """The first line below each frame, as (function without its arguments, file and line)."""
    found = re.findall(r"^.*\[ *\d+\] 0x.*\n {6}(?!inlined)(.+?) at (.+)$", text, re.M)
    return [(re.split(r"::|\(", function.replace("(anonymous namespace)::", "").partition("(")[0])[-1], place)
            for function, place in found]


class Symbolise(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.work = Path(tempfile.mkdtemp(prefix="symbolise_test-"))
        cls.addClassCleanup(shutil.rmtree, cls.work)
        cls.program, symbols = cls.work / "program", cls.work / "symbols"
        cls.program.mkdir()
        symbols.mkdir()
        cls.archive = cls.work / "build-symbols.zip"
        for name in MODULES:
            built, pdb = Path(BIN, name), Path(BIN, name).with_suffix(".pdb")
            subprocess.run([STRIP, "-p", "-o", cls.program / name, built], check=True)
            if pdb.exists():
                shutil.copy(pdb, symbols)
            else:
                subprocess.run([OBJCOPY, "-p", "--only-keep-debug", built, symbols / f"{name}.debug"], check=True)
        for library in Path(BIN).glob("lib*.dll"):
            if library.name not in MODULES:
                (cls.program / library.name).symlink_to(library.resolve())
        with zipfile.ZipFile(cls.archive, "w") as archive:
            for file in symbols.iterdir():
                archive.write(file, f"symbols/bin/{file.name}")
        cls.symbols = symbols
        cls.has_pdb = any(symbols.glob("*.pdb"))
        cls.fault = cls.run_program("fault")

    @classmethod
    def run_program(cls, kind):
        done = subprocess.run([WINE, cls.program / "crash_report.exe", kind], stderr=subprocess.PIPE, check=False)
        return done.stderr.decode().replace("\r\n", "\n")

    def expect_fault(self, text):
        expected = [("distance_of", "return place->distance;"), ("length_of", "distance_of(start.next);"),
                    ("plan_route", "return length_of("), ("print_route", "plan_route());"),
                    ("main", "kind.run();")]
        found = places(text)[: len(expected)]
        self.assertEqual([function for function, _ in found], [function for function, _ in expected])
        for (_, place), (_, text) in zip(found, expected):
            self.assertEqual(place.rpartition("/")[2], f"{SOURCE.name}:{line_of(text)}")

    def tools(self):
        gnu = [] if self.has_pdb else [["--tool", re.sub("strip(?=[^/]*$)", "addr2line", STRIP)]]
        return [[], *gnu]

    def test_names_lines_of_a_stripped_program(self):
        for tool in self.tools():
            status, out, err = symbolise(self.fault, "--symbols", str(self.archive), *tool)
            self.assertEqual((status, err), (0, ""))
            self.expect_fault(out)
            kept = [line for line in out.partition("\nSymbols:\n")[0].splitlines() if not line.startswith(" " * 6)]
            self.assertEqual(kept, self.fault.splitlines())
            self.assertIn(f"crash_report.exe: {self.archive}: symbols/bin/crash_report.", out)
            self.assertRegex(out, r"none for .*kernel32\.dll")

    def test_frames_of_a_fatal_error_are_calls(self):
        _, out, _ = symbolise(self.run_program("assert"), "--symbols", str(self.archive))
        (place,) = [place for function, place in places(out) if function == "check_route"]
        self.assertTrue(place.endswith(f":{line_of('terminate(')}"), place)
        self.assertIn("foundation::core::diag::terminate", out)

    def test_modules_elsewhere_and_frames_that_tell_no_module(self):
        moved = re.sub(r"0x(0000000[0-9a-f]{9})(?=.*crash_report)",
                       lambda address: f"0x{int(address[1], 16) + 0x7ff500000000:016x}", self.fault)
        moved = moved.replace("Z:\\", "Z:\\a+00000001 b\\")
        moved = re.sub(r"(\[  2\] 0x\w+).*", r"\1", moved).replace("[  ", "12:00 planner: [  ")
        self.assertEqual(moved.count("0x00007ff6"), 7)
        for tool in self.tools():
            _, out, _ = symbolise(moved, "--symbols", str(self.symbols), *tool)
            self.expect_fault(out)

    def test_refuses_symbols_of_another_build(self):
        """The report names the functions, and the symbols have others at their places."""
        named = re.sub(r"(crash_report\.exe\+00005\d+)$", r"\1 another+00000000", self.fault, flags=re.M)
        status, out, err = symbolise(named, "--symbols", str(self.archive))
        self.assertEqual((status, places(out)), (1, []))
        self.assertRegex(out, r"crash_report\.exe: .* is of another build: at offset \d+ it has")
        self.assertIn("--symbols", err)
        self.assertEqual(symbolise(named, "--force", "--symbols", str(self.archive))[0], 0)

    def write_dump(self, stamp, pdb_id):
        """No more of a minidump than the list of modules, with one of them."""
        name = "C:\\planner\\crash_report.exe".encode("utf-16-le")
        record = b"RSDS" + pdb_id + b"crash_report.pdb\0" if pdb_id else b""
        parts = 32 + 12 + 4 + 108
        data = struct.pack("<4sIII16x", b"MDMP", 0xA793, 1, 32) + struct.pack("<III", 4, 112, 44) + struct.pack("<I", 1)
        module = 0x140000000, 0x100000, 0, stamp, parts, len(record), parts + 4 + len(name)
        data += struct.pack("<QIIII52xII24x", *module)
        dump = self.work / "crash.dmp"
        dump.write_bytes(data + struct.pack("<I", len(name)) + name + record)
        return dump

    def test_a_dump_tells_the_build_and_the_modules(self):
        image = (self.program / "crash_report.exe").read_bytes()
        (stamp,) = struct.unpack_from("<I", image, struct.unpack_from("<I", image, 0x3C)[0] + 8)
        at = image.find(b"RSDS")
        pdb_id = image[at + 4 : at + 24] if self.has_pdb else b""
        bare = re.sub(r"(\[ +\d+\] 0x\w+) .*", r"\1", self.fault)
        for arguments, status in ((("--dump", self.write_dump(stamp, pdb_id)), 0), ((), 1)):
            result, out, _ = symbolise(bare, "--symbols", str(self.archive), *arguments)
            self.assertEqual(result, status)
            if status == 0:
                self.assertIn("(of the build in the dump)", out)
                self.expect_fault(out)
        other = self.write_dump(stamp + 1, pdb_id[::-1])
        status, out, _ = symbolise(self.fault, "--symbols", str(self.archive), "--dump", other)
        self.assertEqual(status, 1)
        self.assertIn("is of another build than the module in the dump", out)

    def test_says_what_is_missing(self):
        broken = self.work / "broken.zip"
        broken.write_bytes(self.archive.read_bytes()[:1000])
        _, out, _ = symbolise(self.fault, "--symbols", __file__)
        self.assertIn(f"{__file__} has the name of no module", out)
        for report, arguments, complaint in ((self.fault, [str(self.program)], "no frame got its function"),
                                             (self.fault, ["nowhere"], "there is no nowhere"),
                                             (self.fault, [str(broken)], "is no archive"),
                                             ("all is well\n", [str(self.archive)], "there is no stack")):
            status, _, err = symbolise(report, "--symbols", *arguments)
            self.assertEqual(status, 1)
            self.assertIn(complaint, err)
        self.assertRegex(symbolise(self.fault, "--symbols", str(self.program))[1], "crash_report.exe is without debug")
        status, out, _ = symbolise(self.fault, "--symbols", str(self.archive), "--tool", "false")
        self.assertEqual((status, out[: len(self.fault)]), (1, self.fault))
        self.assertRegex(out, "false (failed|does not read)")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
