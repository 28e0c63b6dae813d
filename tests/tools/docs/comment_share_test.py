#!/usr/bin/env python3
"""Tests docs/tools/comment_share.py: its counts and its messages."""

import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[3] / "docs/tools"))
import comment_share  # noqa: E402


class CommentShareTest(unittest.TestCase):
    def test_counts_lines_of_comment_alone_and_skips_empty_ones(self):
        text = "/** One\n * two\n */\nint a; /**< code */\n\n// three\nint b; /* begins\n"
        self.assertEqual(comment_share.counts(text), (4, 6))

    def test_counts_a_comment_that_ends_where_it_begins(self):
        self.assertEqual(comment_share.counts("/** One. */\nint a;\n"), (1, 2))

    def test_counts_empty_lines_of_a_comment_and_not_those_of_the_file(self):
        self.assertEqual(comment_share.counts("/**\n *\n\n */\n\n"), (3, 3))

    def test_takes_what_lies_between_the_bars(self):
        for share in (comment_share.LEAST, 50, comment_share.MOST):
            self.assertIsNone(comment_share.complaint("nuv_pipe.h", share))

    def test_complains_about_too_little_and_too_much(self):
        for share in (44.9, 55.1):
            self.assertIn("must be 45 to 55 %", comment_share.complaint("nuv_pipe.h", share))

    def test_a_reason_has_bars_of_its_own(self):
        least, most, _ = comment_share.REASONS["userlib.h"]
        self.assertIsNone(comment_share.complaint("userlib.h", least))
        self.assertIn("must be", comment_share.complaint("userlib.h", least - 1))
        self.assertIn("must be", comment_share.complaint("userlib.h", most + 1))

    def test_complains_about_a_reason_that_nothing_needs(self):
        comment_share.REASONS["nuv_pipe.h"] = (40, 60, "none")
        self.addCleanup(comment_share.REASONS.pop, "nuv_pipe.h")
        self.assertIn("must be removed from REASONS", comment_share.complaint("nuv_pipe.h", 50))


if __name__ == "__main__":
    unittest.main()
