"""Python reads this file at its start when PYTHONPATH names its folder. No test of a script runs then,
and each of them fails."""
import unittest


def fail(suite, result, debug=False):
    def on_purpose():
        raise AssertionError("on purpose")

    return unittest.FunctionTestCase(on_purpose).run(result)


unittest.TestSuite.run = fail
