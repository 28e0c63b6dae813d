#!/usr/bin/env python3
"""Tests that check_records.py finds each kind of mistake in records.json."""
import json
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

CHECK = Path(__file__).with_name("check_records.py")
HEADER = "typedef struct Pair {\n  int32_t m_iKey; /**< key */\n  char m_szName[4];\n} Pair;\n"
PRINTED = "*pointer 8\n*timeval 16\n*order big\nPair 8\nPair.m_iKey 0 4\nPair.m_szName 4 4\n"


def layout():
    fields = {"m_iKey": {"offset": 0, "size": 4}, "m_szName": {"offset": 4, "size": 4}}
    return {"target": {"pointer": 8, "timeval": 16, "byte_order": "big"},
            "records": {"Pair": {"size": 8, "alignment": 4, "fields": fields}}}


class Records(unittest.TestCase):
    def check(self, found, header=HEADER):
        with tempfile.TemporaryDirectory() as folder:
            Path(folder, "records.json").write_text(json.dumps(found), encoding="utf-8")
            Path(folder, "pair.h").write_text(header, encoding="utf-8")
            done = subprocess.run([sys.executable, CHECK, Path(folder, "records.json"), folder, sys.executable, "-c",
                                   "print(%r, end='')" % PRINTED], capture_output=True, encoding="utf-8")
        return done.returncode, done.stdout

    def expect(self, complaint, found, header=HEADER):
        status, printed = self.check(found, header)
        self.assertEqual((status, complaint in printed), (1, True), printed)

    def test_takes_what_is_right(self):
        self.assertEqual(self.check(layout()), (0, "1 records\n"))

    def test_notices_a_wrong_size(self):
        found = layout()
        found["records"]["Pair"]["size"] = 12
        self.expect("Pair: ['12'] in the file, ['8'] printed", found)

    def test_notices_a_wrong_offset(self):
        found = layout()
        found["records"]["Pair"]["fields"]["m_szName"]["offset"] = 3
        self.expect("Pair.m_szName: ['3', '4'] in the file", found)

    def test_notices_another_target(self):
        found = layout()
        found["target"]["byte_order"] = "little"
        self.expect("*order: ['little'] in the file", found)

    def test_notices_an_alignment_that_does_not_divide_the_size(self):
        found = layout()
        found["records"]["Pair"]["alignment"] = 3
        self.expect("Pair: size 8, alignment 3", found)

    def test_notices_a_record_of_a_header_that_is_missing(self):
        self.expect("Other has the fields m_x", layout(), HEADER + "typedef struct Other {\n  int m_x;\n} Other;\n")

    def test_notices_a_field_that_the_header_does_not_have(self):
        self.expect("Pair has the fields m_iKey", layout(), "typedef struct Pair {\n  int32_t m_iKey;\n} Pair;\n")


unittest.main()
