#!/usr/bin/env python3
"""Runs the examples and checks that the README shows its program as it stands.

usage: examples_test.py FOLDER_OF_EXAMPLE_PROGRAMS ZEPHRA_SERVICE SOURCE_ROOT
"""

import pathlib
import subprocess
import sys
import tempfile
import textwrap
import unittest

from stand_in_service import StandInService

PROGRAMS, SERVICE_PROGRAM, ROOT = pathlib.Path(sys.argv[1]), sys.argv[2], pathlib.Path(sys.argv[3])


def run(program, *arguments, folder="."):
    return subprocess.run([PROGRAMS / program, *arguments], cwd=folder, capture_output=True, text=True, timeout=60)


class ExamplesTest(unittest.TestCase):
    def test_readme_shows_the_program_as_it_is(self):
        program = (ROOT / "examples" / "readme_program.cpp").read_text()
        self.assertIn(f"```cpp\n{program}```\n", (ROOT / "README.md").read_text())

    def test_readme_names_every_public_header(self):
        readme = (ROOT / "README.md").read_text()
        for header in (ROOT / "include" / "qlczephra").rglob("*.h"):
            name = header.relative_to(ROOT / "include").as_posix()
            self.assertIn(f"| `{name}` |", readme)

    def test_readme_program(self):
        with tempfile.TemporaryDirectory() as folder:
            with StandInService(SERVICE_PROGRAM) as service:
                first = run("readme_program", service.url, folder=folder)
            self.assertEqual((first.returncode, first.stdout), (0, "curfew: on\n"), first.stderr)
            self.assertEqual([path.name for path in pathlib.Path(folder).iterdir()], ["zephra-501.plist"])

    def test_apply_policy_acts_on_what_has_changed(self):
        with tempfile.TemporaryDirectory() as folder:
            with StandInService(SERVICE_PROGRAM) as service:
                ended = run("apply_policy", service.url, folder=folder)
        self.assertEqual(ended.returncode, 0, ended.stderr)
        self.assertEqual(ended.stdout, textwrap.dedent("""\
            system firewall: on
            firewall: profile Büro, incoming block, outgoing block by default
              allow out: Allow mail (2 identifiers)
              allow all: Allow meetings (4 identifiers)
              block all: Block game launchers (1 identifiers)
            scan: weekly at 19:30, days 7 3
            service client: proxy proxy.office.example:3128, local server vort2.office.example
            policy manager: proxy http://proxy.office.example:3128
              at pm.office.example:8443
              relay relay-1.office.example:8443
              relay 10.1.2.3:443
              relay relay-2.office.example:443
              when no relay answers: policy manager itself no, cloud no
            -- the user switches to the home profile
            system firewall: on
            firewall: profile Home network, incoming block, outgoing allow by default
              allow in: Allow file sharing (3 identifiers)
              block out: Block telemetry (1 identifiers)
            """))

    def test_syslog_sink(self):
        ended = run("syslog_sink")
        self.assertEqual(ended.returncode, 0)
        self.assertRegex(ended.stderr, r"corlane\[\d+\]: QLCZephraManager error: Local file path not set")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
