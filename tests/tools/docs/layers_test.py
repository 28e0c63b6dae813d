#!/usr/bin/env python3
"""Tests that docs/tools/check_layers.py finds each way to break the layers, and include_graph.py a stale picture."""

import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[3]
TOOLS = ROOT / "docs/tools"


class LayersTest(unittest.TestCase):
    """Works on a copy of the tree, which keeps to the layers until a test changes it."""

    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.tree = Path(directory.name)
        shutil.copytree(ROOT / "userlib", self.tree / "userlib")
        (self.tree / "docs/figures").mkdir(parents=True)
        for name in ("README.md", "docs/architecture.md", "docs/figures/includes.svg"):
            shutil.copy(ROOT / name, self.tree / name)

    def source(self, name):
        return self.tree / "userlib/source" / name

    def add_include(self, name, text):
        path = self.source(name)
        path.write_text('#include "%s"\n%s' % (text, path.read_text(encoding="utf-8")), encoding="utf-8")

    def replace(self, name, old, new):
        path = self.tree / name
        content = path.read_text(encoding="utf-8")
        self.assertIn(old, content)
        path.write_text(content.replace(old, new), encoding="utf-8")

    def run_tool(self, tool, *options):
        result = subprocess.run([sys.executable, "-B", TOOLS / tool, *options, self.tree], check=False,
                                capture_output=True, encoding="utf-8")
        return result.returncode, result.stdout

    def expect_complaint(self, *complaints):
        status, output = self.run_tool("check_layers.py")
        self.assertEqual(1, status, output)
        for complaint in complaints:
            self.assertIn(complaint, output)

    def test_takes_the_tree_as_it_is(self):
        self.assertEqual((0, "all includes respect the layers\n"), self.run_tool("check_layers.py"))
        self.assertEqual((0, ""), self.run_tool("include_graph.py", "--check"))

    def test_a_public_header_of_a_higher_subsystem(self):
        self.add_include("core/nuv_convert.cpp", "nuv_select.h")
        self.expect_complaint('core/nuv_convert.cpp: includes "nuv_select.h": up from core to loop',
                              "README.md: does not list that convert uses select")

    def test_a_private_header_of_a_higher_subsystem(self):
        self.add_include("containers/nuv_frame.cpp", "messaging/udp_socket.h")
        self.expect_complaint('containers/nuv_frame.cpp: includes "messaging/udp_socket.h": up from containers to messaging')

    def test_a_private_header_that_reaches_up(self):
        self.add_include("core/text.h", "tracing/hex_lines.h")
        self.expect_complaint('core/text.h: includes "tracing/hex_lines.h": up from core to tracing')

    def test_the_report_for_anybody_but_the_contracts(self):
        self.add_include("core/nuv_memory.cpp", "nuv_sysloglevel.h")
        self.expect_complaint('core/nuv_memory.cpp: includes "nuv_sysloglevel.h": up from core to tracing')

    def test_a_circle_inside_a_subsystem(self):
        self.add_include("loop/nuv_selectset.cpp", "nuv_select.h")
        self.expect_complaint("a circle: ", "selectset uses select", "select uses selectset")

    def test_a_circle_by_way_of_a_private_header(self):
        self.source("loop/deadline.h").write_text('#include "nuv_select.h"\n', encoding="utf-8")
        self.add_include("loop/nuv_timeoutset.cpp", "loop/deadline.h")
        self.expect_complaint("a circle: ", "timeoutset uses select")

    def test_a_use_that_the_code_map_does_not_tell(self):
        self.add_include("process/nuv_execute.cpp", "nuv_time.h")
        self.expect_complaint("README.md: does not list that execute uses time: "
                              'userlib/source/process/nuv_execute.cpp includes "nuv_time.h"')

    def test_a_use_that_is_none(self):
        self.replace("README.md", "| `nuv_md5` | MD5, a random value | |", "| `nuv_md5` | MD5, a random value | assert |")
        self.expect_complaint("README.md: lists that md5 uses assert, which it does not")

    def test_an_exception_that_is_not_named(self):
        self.replace("docs/architecture.md", "- `nuv_assert` uses `nuv_sysloglevel`: ", "- ")
        self.expect_complaint('core/nuv_assert.cpp: includes "nuv_sysloglevel.h": up from core to tracing')

    def test_an_exception_that_nothing_needs(self):
        self.replace("docs/architecture.md", "- `nuv_assert` uses", "- `nuv_pipe` uses `nuv_digitmap`: x\n- `nuv_assert` uses")
        self.expect_complaint("docs/architecture.md: unnecessary exception: nuv_pipe uses nuv_digitmap")

    def test_a_source_in_the_wrong_folder(self):
        self.source("core/nuv_pipe.cpp").write_text('#include "nuv_pipe.h"\n', encoding="utf-8")
        self.expect_complaint("core/nuv_pipe.cpp: README.md lists its family under messaging")

    def test_a_source_and_a_folder_that_the_code_map_does_not_have(self):
        self.source("core/helper.cpp").write_text("", encoding="utf-8")
        self.source("misc").mkdir()
        self.source("misc/helper.h").write_text("", encoding="utf-8")
        self.expect_complaint("core/helper.cpp: is in no row", "misc/helper.h: is in no row")

    def test_includes_of_no_part(self):
        self.add_include("loop/nuv_select.cpp", "userlib.h")
        self.add_include("loop/nuv_selectset.cpp", "nuv_selectset_internal.h")
        self.expect_complaint('loop/nuv_select.cpp: includes "userlib.h", which is not the header of a part',
                              'loop/nuv_selectset.cpp: includes "nuv_selectset_internal.h", which is not the header')

    def test_the_picture_when_it_is_stale(self):
        self.add_include("process/nuv_execute.cpp", "nuv_time.h")
        status, output = self.run_tool("include_graph.py", "--check")
        self.assertEqual(1, status)
        self.assertIn("docs/figures/includes.svg: must be what", output)
        self.assertEqual((0, ""), self.run_tool("include_graph.py"))
        self.assertEqual((0, ""), self.run_tool("include_graph.py", "--check"))


if __name__ == "__main__":
    unittest.main()
