"""Runs the generator command on the real descriptions, as the build does, and checks facts of its
output that the runtime and the build rely on."""

import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

REPO = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
GENERATOR = os.path.join(REPO, "generator", "nexar_generate.py")
ROOTS = [("opax/std", "opax/std"), ("opax/cis", "opax/cis"), ("idl", "bindings")]


def generate(out, roots=None, extra=()):
    """Runs the command from the repository root; returns (exit code, stderr)."""
    args = [sys.executable, GENERATOR]
    for directory, prefix in roots or [(os.path.join(REPO, d), p) for d, p in ROOTS]:
        args += ["--root", f"{directory}={prefix}"]
    for _, prefix in ROOTS:
        args += ["--render", prefix]
    args += ["--out", out, *extra]
    env = dict(os.environ, PYTHONDONTWRITEBYTECODE="1")
    env.pop("NEXARGEN_DEBUG", None)
    done = subprocess.run(args, cwd=REPO, env=env, capture_output=True, text=True, timeout=120)
    return done.returncode, done.stderr


def class_body(text, name):
    """The text of `class <name> ... };` at the indentation it was opened with."""
    match = re.search(rf"^( *)class {name}\b[^;]*?\{{\n(.*?)^\1\}};", text, re.M | re.S)
    if not match:
        raise AssertionError(f"no class {name}")
    return match.group(2)


def files_below(directory):
    found = {}
    for parent, _, names in os.walk(directory):
        for name in names:
            path = os.path.join(parent, name)
            found[os.path.relpath(path, directory)] = os.stat(path).st_mtime_ns
    return found


class GeneratedTreeTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.out = tempfile.mkdtemp(prefix="nexargen-")
        code, stderr = generate(cls.out)
        if code != 0:
            raise AssertionError(f"generator failed ({code}):\n{stderr}")

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.out, ignore_errors=True)

    def read(self, rel):
        with open(os.path.join(self.out, rel), encoding="utf-8") as f:
            return f.read()

    def test_one_header_and_source_per_description_where_the_build_expects_them(self):
        # The build names its outputs from the description paths alone; any other file name breaks it.
        expected = set()
        for directory, prefix in ROOTS:
            for parent, _, names in os.walk(os.path.join(REPO, directory)):
                for name in names:
                    if name.endswith(".idl"):
                        rel = os.path.relpath(os.path.join(parent, name[:-4]), os.path.join(REPO, directory))
                        expected |= {f"{prefix}/{rel}.h", f"{prefix}/{rel}.cpp"}
        # Beside a service's header, its blocking calls: the build finds them by including them.
        found = set(files_below(self.out))
        self.assertEqual({f for f in found if not f.endswith("_sync.h")}, expected)
        self.assertIn("bindings/vm/hardware/cdrom.h", expected)
        self.assertEqual(len({f for f in found if f.endswith("_sync.h")}),
                         sum('class SyncServiceStub;' in self.read(f) for f in expected if f.endswith(".h")))

    def test_service_header(self):
        text = self.read("bindings/vm/hardware/cdrom.h")
        self.assertIn("namespace Com {\nnamespace Quarn {\nnamespace Nexar {\nnamespace Vm {\nnamespace Hardware {\n"
                      "\nclass NEXAR_EXPORT CdromSvc {", text)
        self.assertIn("#include <bindings/vm/hardware/common.h>", text)
        self.assertIn("#pragma once", text)
        source = self.read("bindings/vm/hardware/cdrom.cpp")
        self.assertIn("#include <bindings/vm/hardware/cdrom.h>", source)
        self.assertIn('char const* const CdromSvc::Constants::RESOURCE_TYPE = '
                      '"com.quarn.nexar.vm.hardware.Cdrom";', source)

    def test_types_of_the_service_itself_are_named_from_inside_its_class(self):
        # Other roots' types are named in full.
        header = self.read("bindings/authorization/vt_containers/mappings.h")
        self.assertIn("std::shared_ptr<::Com::Quarn::Opax::Std::DynamicID const> object_;", header)
        self.assertIn("std::shared_ptr<CreateSpec const> spec;", header)

    def test_no_generated_line_is_longer_than_120_characters(self):
        long_lines = [(rel, line) for rel in files_below(self.out) for line in self.read(rel).splitlines()
                      if len(line) > 120]
        self.assertEqual(long_lines, [])

    def test_a_second_run_writes_nothing(self):
        # Old stamps make a rewrite visible even on file systems with coarse time stamps.
        for rel in files_below(self.out):
            os.utime(os.path.join(self.out, rel), ns=(10**18, 10**18))
        before = files_below(self.out)
        code, stderr = generate(self.out)
        self.assertEqual((code, stderr), (0, ""))
        self.assertEqual(files_below(self.out), before)


class BadInputTest(unittest.TestCase):
    """A mistake in a description is one `file:line: message` per problem, exit code 1, nothing
    written and no traceback."""

    def setUp(self):
        self.work = tempfile.mkdtemp(prefix="nexargen-")
        self.idl = os.path.join(self.work, "idl")
        shutil.copytree(os.path.join(REPO, "idl"), self.idl)
        self.out = os.path.join(self.work, "out")
        self.roots = [(os.path.join(REPO, "opax/std"), "opax/std"), (os.path.join(REPO, "opax/cis"), "opax/cis"),
                      (self.idl, "bindings")]

    def tearDown(self):
        shutil.rmtree(self.work, ignore_errors=True)

    def write(self, rel, data):
        path = os.path.join(self.idl, rel)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "wb") as f:
            f.write(data.encode("utf-8") if isinstance(data, str) else data)
        return path

    def edit(self, rel, old, new):
        path = os.path.join(self.idl, rel)
        with open(path, encoding="utf-8") as f:
            text = f.read()
        self.assertIn(old, text)
        return self.write(rel, text.replace(old, new, 1)), text[: text.index(old)].count("\n") + 1

    def assertRejected(self, *expected):
        """`expected`: (path, line, fragment) of the errors, in order."""
        code, stderr = generate(self.out, self.roots)
        self.assertEqual(code, 1, stderr)
        self.assertNotIn("Traceback", stderr)
        self.assertNotIn("internal error", stderr)
        lines = stderr.splitlines()
        self.assertEqual(len(lines), len(expected), stderr)
        for line, (path, number, fragment) in zip(lines, expected):
            self.assertTrue(line.startswith(f"{path}:{number}: "), f"{line!r} is not at {path}:{number}")
            self.assertIn(fragment, line)
        self.assertFalse(os.path.exists(self.out), "nothing is written while a description is wrong")

    def test_a_check_error(self):
        path, line = self.edit("vm/hardware/cdrom.idl", "    type: BackingType;", "    type: BackingKind;")
        self.assertRejected((path, line, "unknown type 'BackingKind'"))

    def test_a_syntax_error(self):
        path, line = self.edit("vm/hardware/memory.idl", "size_MiB: long;", "size_MiB: long")
        self.assertRejected((path, line, "expected ';'"))

    def test_errors_in_several_files_are_all_reported(self):
        first = self.write("extra.idl", "// Extra.\npackage com.quarn.nexar.extra {\n  struct A { x: map<long, string>; }\n}\n")
        second, line = self.edit("authorization/roles.idl", "  op ", "  op op ")
        self.assertRejected((first, 3, "map keys are strings"), (second, line, "expected '('"))

    def test_unreadable_and_hostile_files(self):
        cases = [
            (b"\xff\xfe\x00garbage", 1, "cannot read"),
            (b"", 1, "expected 'service' or 'package'"),
            (b"// Only a comment.\n\n", 1, "expected 'service' or 'package'"),
            (b"// Deep.\npackage com.quarn.nexar.deep {\n  struct A { x: " + b"list<" * 4000 + b"string"
             + b">" * 4000 + b"; }\n}\n", 3, "nest at most"),
            ('// Odd.\npackage com.quarn.nexar.odd {\n  struct A {\n    x: string; \u00a7\n  }\n}\n', 4,
             "unexpected character"),
            (b'// Quote.\nservice com.quarn.nexar.quote {\n  resource_type "a\\";\n}\n', 3, "may not contain"),
            (b"// Void.\npackage com.quarn.nexar.void {\n  struct A {\n    x: void;\n  }\n}\n", 4, "void is only a result"),
        ]
        for data, line, fragment in cases:
            with self.subTest(data=data[:40]):
                path = self.write("zz_bad.idl", data)
                self.assertRejected((path, line, fragment))
        os.remove(path)

    def test_an_unwritable_output_is_not_a_generator_fault(self):
        blocker = os.path.join(self.work, "blocker")
        with open(blocker, "w", encoding="utf-8") as f:
            f.write("a file where the output directory should be\n")
        code, stderr = generate(blocker, self.roots)
        self.assertEqual(code, 2, stderr)
        self.assertIn("cannot write the output", stderr)
        self.assertNotIn("Traceback", stderr)


if __name__ == "__main__":
    unittest.main()


class MockHeadersTest(unittest.TestCase):
    def test_every_form_of_every_operation_is_mocked_and_checked(self):
        # A form left out still compiles (the mock is merely abstract, or a plain form keeps its
        # default) until a user's test needs it; so count them against the interface's.
        out = tempfile.mkdtemp(prefix="nexargen-")
        self.addCleanup(shutil.rmtree, out, ignore_errors=True)
        code, stderr = generate(out, extra=["--areas", "vm", "--mocks", "bindings"])
        self.assertEqual((code, stderr), (0, ""))
        mocks = sorted(rel for rel in files_below(out) if rel.endswith("_mock.h"))
        self.assertIn("bindings/vm/hardware/cdrom_mock.h", mocks)
        for rel in mocks:
            with open(os.path.join(out, rel[: -len("_mock.h")] + ".h"), encoding="utf-8") as f:
                interface = class_body(f.read(), "AsyncServiceInterface")
            with open(os.path.join(out, rel), encoding="utf-8") as f:
                mock = f.read()
            self.assertEqual(mock.count("MOCK_METHOD("), interface.count("virtual void "), rel)
        checked = []
        for part in range(4):
            with open(os.path.join(out, f"service_headers_check_{part}.cpp"), encoding="utf-8") as f:
                checked += re.findall(r"#include <(.*)>", f.read())
        self.assertEqual(sorted(checked), sorted(mocks + [m.replace("_mock.h", "_sync.h") for m in mocks]))
