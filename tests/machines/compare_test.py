#!/usr/bin/env python3
"""What the comparison of two machines' results lets pass, and what not."""

import contextlib
import io
import unittest

from compare import compare_faces, compare_results


def failures(compare, *arguments):
    with contextlib.redirect_stdout(io.StringIO()):
        return compare(*arguments)


def face(shift=0.0, turn=0.0):
    return {"faces": [{"points": [[1.0 + shift, 2.0, 3.0]], "yaw": 1.0, "pitch": 2.0,
                       "roll": 3.0 + turn}]}


class CompareTest(unittest.TestCase):
    def results(self, one, other):
        return failures(compare_results, [one], [other])

    def test_equal_results_pass(self):
        self.assertEqual(self.results("a/b bits 3f800000", "a/b bits 3f800000"), [])

    def test_arithmetic_must_be_equal_to_the_bit(self):
        self.assertNotEqual(self.results("a/b bits 3f800000", "a/b bits 3f800001"), [])

    def test_the_librarys_may_differ_by_one_unit(self):
        self.assertEqual(self.results("a float 3f800000", "a float 3f800001"), [])
        self.assertEqual(self.results("a float 00000000", "a float 80000001"), [])
        self.assertEqual(self.results("a double 3fefffffffffffff", "a double 3ff0000000000000"), [])
        self.assertNotEqual(self.results("a float 3f800000", "a float 3f800002"), [])
        self.assertNotEqual(self.results("a double 3ff0000000000000", "a double bff0000000000000"), [])

    def test_not_a_number_is_one_whatever_its_sign(self):
        self.assertEqual(self.results("a float 7fc00000", "a float ffc00000"), [])
        self.assertNotEqual(self.results("a float 7f800000", "a float 7fc00000"), [])
        self.assertNotEqual(self.results("a float 3f800000", "a float 7fc00000"), [])

    def test_other_or_missing_lines_fail(self):
        self.assertNotEqual(self.results("a float 3f800000", "b float 3f800000"), [])
        self.assertNotEqual(failures(compare_results, ["a float 3f800000"], []), [])
        self.assertNotEqual(failures(compare_results, [], []), [])

    def test_faces_may_lie_a_little_apart(self):
        self.assertEqual(failures(compare_faces, face(), face(0.09, 0.09)), [])
        self.assertNotEqual(failures(compare_faces, face(), face(0.11)), [])
        self.assertNotEqual(failures(compare_faces, face(), face(0, -0.11)), [])
        self.assertNotEqual(failures(compare_faces, face(), {"faces": []}), [])
        self.assertNotEqual(failures(compare_faces, {"faces": []}, {"faces": []}), [])


if __name__ == "__main__":
    unittest.main()
