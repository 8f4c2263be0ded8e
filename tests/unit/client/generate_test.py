#!/usr/bin/python3
"""The generator: the faults of a catalogue that it must not let pass, and its text as it was reviewed."""

import pathlib
import subprocess
import sys
import tempfile
import unittest

HERE = pathlib.Path(__file__).resolve().parent
CLIENT = HERE.parents[2] / "client"

SMALL = """\
expect operations 3
expect paths 2
expect builders 1
expect called 2
expect get 1 called 1
expect set 0 called 0
expect info 1 called 1
expect admin 1 called 0
expect list 0 called 0
expect mlist 0 called 0
expect add 0 called 0
expect del 0 called 0
expect move 0 called 0
star int power.port.*
[power]
i!:n a | num-devices
[power.port.*]   # one port
g!:t | name
"""


def generate(*words):
    return subprocess.run(
        [sys.executable, CLIENT / "generate.py", *words], capture_output=True, text=True, check=False
    )


class Generate(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.path = pathlib.Path(self.folder.name)

    def run_on(self, catalogue, *words):
        file = self.path / "catalogue.txt"
        file.write_text(catalogue, encoding="ascii")
        return generate(*words, file)

    def expect_fault(self, old, new, words):
        self.assertIn(old, SMALL)
        done = self.run_on(SMALL.replace(old, new, 1))
        self.assertEqual(done.returncode, 1, done.stderr)
        self.assertEqual(done.stderr, f"generate.py: cannot read '{self.path}/catalogue.txt': {words}\n")

    def test_small_catalogue_is_taken(self):
        done = self.run_on(SMALL)
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, "", ""))

    def test_wrong_counts(self):
        self.expect_fault("operations 3", "operations 4", "'operations' counts 3 where 4 is expected")
        self.expect_fault("paths 2", "paths 3", "'paths' counts 2 where 3 is expected")
        self.expect_fault("builders 1", "builders 2", "'builders' counts 1 where 2 is expected")
        self.expect_fault("called 2", "called 3", "'called' counts 2 where 3 is expected")
        self.expect_fault("get 1 called 1", "get 2 called 1", "'get' counts 1 called 1 where 2 called 1 is expected")
        self.expect_fault("get 1 called 1", "get 1 called 0", "'get' counts 1 called 1 where 1 called 0 is expected")

    def test_count_that_is_not_expected(self):
        self.expect_fault("expect paths 2\n", "", "no count of 'paths' is expected")

    def test_malformed_expectations(self):
        form = "line 1: expected 'expect WHAT COUNT [called COUNT]'"
        self.expect_fault("operations 3", "operations", form)
        self.expect_fault("operations 3", "operations three", form)
        self.expect_fault("operations 3", "operations 3 used 2", form)
        self.expect_fault("operations 3", "verbs 3", "line 1: nothing to count by the name 'verbs'")
        self.expect_fault("expect paths 2", "expect operations 3", "line 2: 'operations' is expected twice")

    def test_unknown_codes(self):
        self.expect_fault("i!:n a", "x!:n a", "line 16: unknown verb in 'x!:n'")
        self.expect_fault("i!:n a", "i!:z a", "line 16: unknown type in 'i!:z'")
        self.expect_fault("i!:n a", "i?:n a", "line 16: unknown verb in 'i?:n'")

    def test_verbs_with_types_that_they_cannot_have(self):
        self.expect_fault("i!:n a", "i!:N a", "line 16: verb 'info' can't have the type of 'i!:N'")
        self.expect_fault("i!:n a", "i!:n a:t", "line 16: verb 'admin' can't have the type of 'a:t'")
        self.expect_fault("i!:n a", "i! a", "line 16: verb 'info' needs a type in 'i!'")

    def test_malformed_groups(self):
        form = "line 16: expected 'OPERATION ... | LEAF ...'"
        self.expect_fault("i!:n a | num-devices", "i!:n a num-devices", form)
        self.expect_fault("i!:n a | num-devices", "i!:n a |", form)
        self.expect_fault("i!:n a | num-devices", "| num-devices", form)
        self.expect_fault("num-devices", "num--devices", "line 16: 'num--devices' is no leaf")
        self.expect_fault("num-devices", "Devices", "line 16: 'Devices' is no leaf")
        self.expect_fault("[power]\n", "", "line 15: a group before the first parent")

    def test_duplicate_names(self):
        self.expect_fault("i!:n a | num", "i!:n i:n a | num", "name 'info_power_numDevices' is made 2 times")
        self.expect_fault("| num-devices", "| num-devices num_devices", "name 'info_power_numDevices' is made 2 times")

    def test_two_paths_for_one_builder(self):
        self.expect_fault("| name", "| na-me\ni:t | na_me", "name 'path_power_port_star0_naMe' is made 2 times")

    def test_stars(self):
        form = "line 14: expected 'star text|int PATH' with a path that ends in a star"
        self.expect_fault("star int", "star float", form)
        self.expect_fault("port.*\n", "port\n", form)
        self.expect_fault("star int power.port.*\n", "", "star 'power.port.*' has no kind")
        self.expect_fault("star int", "star int power.pdu.*\nstar int", "star 'power.pdu.*' is on no path")
        twice = "star int power.port.*\nstar text power.port.*"
        self.expect_fault("star int power.port.*", twice, "line 15: star 'power.port.*' has its kind already")
        deep = "star int power.port.*\nstar int power.port.*.*\nstar int power.port.*.*.*\nstar int power.port.*.*.*.*"
        many = SMALL.replace("star int power.port.*", deep).replace("[power.port.*]", "[power.port.*.*.*.*]")
        self.assertIn("path 'power.port.*.*.*.*.name' has more than 3 stars", self.run_on(many).stderr)

    def test_catalogue_that_is_not_there(self):
        done = generate(self.path / "none.txt")
        self.assertEqual(done.returncode, 1)
        self.assertIn(f"generate.py: cannot read '{self.path}/none.txt': ", done.stderr)

    def test_fault_writes_nothing(self):
        done = self.run_on(SMALL.replace("operations 3", "operations 4"), "--write", self.path / "made")
        self.assertEqual(done.returncode, 1)
        self.assertFalse((self.path / "made").exists())

    def test_sources_and_headers_are_written(self):
        self.run_on(SMALL, "--write", self.path / "made")
        names = sorted(file.name for file in (self.path / "made").iterdir())
        self.assertEqual(
            names,
            ["tree.h", "tree_admin.cpp", "tree_edit.cpp", "tree_get.cpp", "tree_info.cpp", "tree_list.cpp",
             "tree_path.cpp", "tree_set.cpp", "tree_table.h"],
        )
        header = (self.path / "made" / "tree.h").read_text(encoding="ascii")
        self.assertIn(
            "int vrn_tsapi_info_power_numDevices(vrn_tsapi_handle *handle, int *result, const char *const *args);\n",
            header,
        )
        self.assertIn("char *vrn_psapi_path_power_port_star0_name(const char *star0);\n", header)

    def test_text_of_the_functions_is_as_reviewed(self):
        """After a wanted change: client/generate.py --sample client/catalogue.txt > generated_sample.ok"""
        done = generate("--sample", CLIENT / "catalogue.txt")
        self.assertEqual(done.returncode, 0, done.stderr)
        reviewed = (HERE / "generated_sample.ok").read_text(encoding="ascii")
        self.assertMultiLineEqual(done.stdout, reviewed)


class Called(unittest.TestCase):
    """Marks of called operations against objects made for the purpose."""

    SOURCE = """\
struct vrn_tsapi_handle;
int vrn_tsapi_get_power_port_star0_name(vrn_tsapi_handle *, char **, int);
int vrn_tsapi_info_power_numDevices(vrn_tsapi_handle *, int *, const char *const *);
int vrn_tsapi_admin_power_numDevices(vrn_tsapi_handle *, const char *const *);
int vrn_psapi_info_power_numDevices(vrn_tsapi_handle *, char **, const char *const *);
extern "C" int vrn_tsapi_commit(vrn_tsapi_handle *);
int main() { return vrn_tsapi_commit(0)CALLS; }
"""
    GET = " + vrn_tsapi_get_power_port_star0_name(0, 0, 0)"
    INFO = " + vrn_tsapi_info_power_numDevices(0, 0, 0)"
    ADMIN = " + vrn_tsapi_admin_power_numDevices(0, 0)"
    INNER = " + vrn_psapi_info_power_numDevices(0, 0, 0)"

    def check(self, calls, *words):
        with tempfile.TemporaryDirectory() as name:
            folder = pathlib.Path(name)
            (folder / "catalogue.txt").write_text(SMALL, encoding="ascii")
            (folder / "calls.cpp").write_text(self.SOURCE.replace("CALLS", calls), encoding="ascii")
            compiled = ["c++", "-c", folder / "calls.cpp", "-o", folder / "calls.o"]
            subprocess.run(compiled, check=True)
            return generate("--called", *words, folder / "catalogue.txt", folder / "calls.o")

    def test_all_marked_and_all_called(self):
        done = self.check(self.GET + self.INFO)
        self.assertEqual((done.returncode, done.stdout), (0, "2 of 2 marked operations are called\n"))

    def test_called_without_mark(self):
        done = self.check(self.GET + self.INFO + self.ADMIN)
        self.assertEqual(done.returncode, 1)
        self.assertEqual(
            done.stderr, "generate.py: 'vrn_tsapi_admin_power_numDevices' is called, but not marked as called\n"
        )

    def test_inner_function_is_never_called_by_the_product(self):
        done = self.check(self.GET + self.INFO + self.INNER)
        self.assertEqual(done.returncode, 1)
        self.assertIn("'vrn_psapi_info_power_numDevices' is called", done.stderr)

    def test_marked_without_call(self):
        done = self.check(self.INFO)
        self.assertEqual(done.returncode, 1)
        self.assertEqual(
            done.stderr, "generate.py: 'vrn_tsapi_get_power_port_star0_name' is marked as called, but not called\n"
        )

    def test_objects_that_cannot_be_read(self):
        done = generate("--called", CLIENT / "catalogue.txt", HERE / "none.o")
        self.assertEqual(done.returncode, 1)
        self.assertIn("generate.py: cannot read the objects", done.stderr)


if __name__ == "__main__":
    unittest.main()
