#!/usr/bin/env python3
"""Runs the command-line host as its users do: every command, its output for people and for programs, its mistakes.

usage: command_line_test.py QLCZEPHRA ZEPHRA_SERVICE SAMPLE_DOCUMENT
"""

import json
import os
import pathlib
import plistlib
import pty
import re
import subprocess
import sys
import tempfile
import unittest

from stand_in_service import StandInService, write_faults

PROGRAM, SERVICE_PROGRAM, SAMPLE = sys.argv[1:4]
TOKEN = "a-token-that-nobody-may-see"


# OpenSSL's job stacks are no threads' stacks, which the address sanitizer remarks once and then disregards.
REMARK_OF_SANITIZER = re.compile(
    r"==\d+==WARNING: ASan is ignoring requested __asan_handle_no_return: .*\n"
    r"False positive error reports may follow\nFor details see .*\n"
)


class Result:
    def __init__(self, finished):
        self.status = finished.returncode
        self.out = finished.stdout
        self.err = REMARK_OF_SANITIZER.sub("", finished.stderr)


def qlczephra(*arguments, text_in=""):
    finished = subprocess.run([PROGRAM, *map(str, arguments)], input=text_in, capture_output=True, text=True, timeout=60)
    assert TOKEN not in finished.stdout + finished.stderr, "the token was printed"
    return Result(finished)


class CommandLineTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(cls.enterClassContext(tempfile.TemporaryDirectory()))
        (cls.folder / "token").write_text(TOKEN + "\n")
        cls.url = cls.enterClassContext(StandInService(SERVICE_PROGRAM, "--token", TOKEN)).url
        cls.from_service = cls.connection(cls.url)
        cls.stored = cls.folder / "stored.plist"
        fetched = qlczephra("fetch", *cls.from_service, "--local-file", cls.stored)
        assert fetched.status == 0, fetched.err

    @classmethod
    def connection(cls, url, *more):
        return ["--service", url, "--product", "corlane", "--token-file", cls.folder / "token", *more]

    def assert_complaint(self, result, status, *words):
        self.assertEqual(result.status, status, result.err)
        self.assertEqual(result.out, "")
        self.assertRegex(result.err, r"\Aqlczephra: [^\n]*; [^\n]*\n\Z", "one line with a remedy")
        for word in words:
            self.assertIn(str(word), result.err)

    def test_reads_give_the_same_from_the_service_and_from_a_stored_file(self):
        site = {"url": "https://school.example/", "allowed": True}
        cases = [  # command, output for people (None: indented JSON), value for programs
            (["get", "common.time.curfew.enabled"], "true", True),
            (["get", "common.time.quota.friday.duration"], "150", 150),
            (["get", "macos.firewall.current_profile_id"], "office", "office"),
            (["get", "common.device_labels.asset_number"], None, None),  # raw in a dynamic group: no setting
            (["get", "common.product.edition"], "home", "home"),  # read-only: keeps the default
            (["get", "macos.scheduled_scanning.start_time"], None,
             {"hours": {"ro": False, "v": 19}, "minutes": {"ro": False, "v": 30}}),
            (["tree", "macos.scheduled_scanning.start_time", "--flat"], None, {"hours": 19, "minutes": 30}),
            (["properties", "macos.updates"], "channel\ninterval_hours", ["channel", "interval_hours"]),
            (["readonly", "macos.updates.channel"], "read-only", True),
            (["readonly", "macos.firewall.enabled"], "writable", False),
        ]
        for source in (self.from_service, ["--file", self.stored]):
            for command, text, value in cases:
                with self.subTest(command=command, source=source[0]):
                    human = qlczephra(*command, *source)
                    if value is None:
                        self.assert_complaint(human, 1, command[-1], "no setting")
                        continue
                    self.assertEqual((human.status, human.err), (0, ""))
                    if text is None:
                        self.assertGreater(human.out.count("\n"), 1)
                        self.assertIn("hours", json.loads(human.out))
                    else:
                        self.assertEqual(human.out, text + "\n")
                    machine = qlczephra(*command, *source, "--json")
                    self.assertEqual((machine.status, machine.err, machine.out.count("\n")), (0, "", 1))
                    got = json.loads(machine.out)
                    if "hours" in (value if isinstance(value, dict) else ()) and "--flat" not in command:
                        got = {name: {"ro": node.get("ro", False), "v": node["v"]} for name, node in got.items()}
                    self.assertEqual(got, value)
                    self.assertIs(type(got), type(value))
            sites = json.loads(qlczephra("get", "common.sites.list", "--json", *source).out)
            self.assertEqual(sites[0], site)

    def test_the_whole_tree_is_the_stored_file(self):
        with open(self.stored, "rb") as file:
            stored = plistlib.load(file)
        self.assertEqual(json.loads(qlczephra("tree", *self.from_service).out), stored)
        self.assertEqual(json.loads(qlczephra("tree", "--file", self.stored, "--json").out), stored)
        flat = json.loads(qlczephra("tree", "--flat", "--file", self.stored).out)
        self.assertEqual(flat["common"]["time"]["quota"]["friday"]["duration"], 150)
        self.assertEqual(os.stat(self.stored).st_mode & 0o777, 0o600)

    def test_fetch_names_the_groups_and_the_file(self):
        human = qlczephra("fetch", *self.from_service, "--local-file", self.stored)
        self.assertIn("macos: firewall scheduled_scanning updates vort2\n", human.out)
        self.assertIn(f"Stored in {self.stored}\n", human.out)
        machine = json.loads(qlczephra("fetch", *self.from_service, "--json").out)
        self.assertEqual(machine["sections"]["macos"], ["firewall", "scheduled_scanning", "updates", "vort2"])
        self.assertIsNone(machine["file"])

    def test_pending_changes_are_laid_over_what_the_service_sends(self):
        patch = self.folder / "patch-7.plist"
        patch.write_bytes(plistlib.dumps({"common": {"time": {"curfew": {"enabled": False}}}}))
        read = qlczephra("get", "common.time.curfew.enabled", *self.from_service, "--patch-file", patch)
        self.assertEqual(read.out, "false\n")

    def test_interpret(self):
        def interpret(*options, **more):
            return json.loads(qlczephra("interpret", *options, **more).out)

        sending = self.folder / "changes-sending.plist"
        patch = self.folder / "changes.plist"
        sending.write_bytes(plistlib.dumps({"common": {"time": {"enabled": False, "curfew": {"enabled": False}}}}))
        patch.write_bytes(plistlib.dumps({"common": {"time": {"curfew": {"enabled": True}}}}))
        with open(self.stored, "rb") as file:
            self.assertEqual(interpret(SAMPLE), plistlib.load(file))
        self.assertEqual(interpret("-", "--json", text_in=pathlib.Path(SAMPLE).read_text()), interpret(SAMPLE))
        time = interpret(SAMPLE, "--sending", sending, "--patch", patch, "--flat")["common"]["time"]
        self.assertEqual((time["enabled"], time["curfew"]["enabled"]), (False, True))
        self.assertEqual(interpret(SAMPLE, "--sending", sending, "--flat")["common"]["time"]["curfew"]["enabled"], False)

    def test_tokens_from_everywhere(self):
        command = ["get", "common.time.enabled", "--service", self.url, "--product", "corlane"]
        self.assertEqual(qlczephra(*command, "--token", TOKEN).out, "true\n")
        self.assertEqual(qlczephra(*command, "--token-stdin", text_in=TOKEN + "\r\n").out, "true\n")
        self.assert_complaint(qlczephra(*command, "--token", "wrong"), 1, "error 2", "give a token that is valid")
        self.assert_complaint(qlczephra(*command, "--token-stdin"), 2, "no token")
        self.assert_complaint(qlczephra(*command, "--token-stdin", text_in=TOKEN + "\nX: y\n"), 2, "line break")

    def test_misuse(self):
        service = ["--service", self.url]
        cases = [
            ([], "no command"),
            (["frobnicate"], "frobnicate"),
            (["get"], "PATH"),
            (["get", "a", "--bogus"], "--bogus"),
            (["get", "a"], "--file"),
            (["get", "a", "--file", self.stored, *service], "--file"),
            (["get", "a", "--product", "corlane"], "--product"),
            (["get", "a", *service], "--product"),
            (["get", "a", *service, "--product", "corlane"], "--token-file"),
            (["get", "a", *service, "--product", "..", "--token", "t"], "product name"),
            (["get", "a", "--service", "ftp://host", "--product", "corlane", "--token", "t"], "ftp://host"),
            (["get", "a", *service, "--token", "t", "--token-stdin"], "--token"),
            (["get", "a", *self.from_service, "--user-agent", "x\ny"], "User-Agent"),
            (["get", "a", *self.from_service, "--uid", "501", "--local-file", "f"], "--uid"),
            (["get", "a", "--file", self.stored, "--log", "loud"], "loud"),
            (["fetch"], "--service"),
            (["interpret"], "DOCUMENT"),
        ]
        for arguments, word in cases:
            with self.subTest(arguments=arguments):
                self.assert_complaint(qlczephra(*arguments), 2, word)

    def test_failures_name_the_input(self):
        missing = self.folder / "missing"
        damaged = self.folder / "damaged.plist"
        damaged.write_text("<plist><dict>")
        json_list = self.folder / "list.json"
        json_list.write_text("[1]")
        cases = [
            (["get", "a", "--file", missing], [missing, "No such file or directory", "--file"]),
            (["get", "a", "--file", self.folder], [self.folder, "Is a directory"]),
            (["get", "a", "--file", damaged], [damaged, "property list"]),
            (["get", "common.nothing", "--file", self.stored], ["common.nothing", self.stored]),
            (["tree", "macos.updates.channel", "--file", self.stored], ["macos.updates.channel", "qlczephra get"]),
            (["properties", "common.time.enabled", "--file", self.stored], ["common.time.enabled"]),
            (["readonly", "common.nothing", "--file", self.stored], ["common.nothing"]),
            (["interpret", missing], [missing]),
            (["interpret", json_list], [json_list]),
            (["interpret", "-"], ["- is not JSON"]),
            (["interpret", SAMPLE, "--patch", missing], [missing, "--patch"]),
            (["fetch", *self.from_service, "--local-file", missing / "file"], [missing, "--local-file"]),
            (["fetch", *self.from_service, "--ca", missing], [missing, "--ca"]),
            (["fetch", *self.from_service, "--ca", damaged], [damaged, "certificate"]),
            (["fetch", "--service", self.url, "--product", "unknown", "--token", TOKEN], ["unknown", "--product"]),
        ]
        for arguments, words in cases:
            with self.subTest(arguments=arguments):
                self.assert_complaint(qlczephra(*arguments), 1, *words)

    def test_output_that_cannot_be_written_is_a_failure(self):
        with open("/dev/full", "w") as full:
            finished = subprocess.run([PROGRAM, "tree", "--file", self.stored], stdout=full, stderr=subprocess.PIPE)
        self.assertEqual(finished.returncode, 1)

    def test_log_level(self):
        quiet = qlczephra("fetch", *self.from_service)
        self.assertEqual(quiet.err, "")
        loud = qlczephra("fetch", *self.from_service, "--log", "info")
        self.assertIn("info: zephra_requests: Zephra responded with status 200\n", loud.err)
        self.assertNotIn("debug: ", loud.err)
        self.assertIn("debug: ", qlczephra("fetch", *self.from_service, "--log", "debug").err)

    def test_help_has_examples_for_every_command(self):
        for command in ("demo", "fetch", "get", "tree", "properties", "readonly", "interpret"):
            helped = qlczephra(command, "--help")
            self.assertEqual(helped.status, 0)
            self.assertIn(f"Usage: qlczephra {command}", helped.out)
            self.assertIn("Examples:", helped.out)

    def test_countdown_on_a_terminal_only(self):
        faults = self.folder / "faults.json"
        write_faults(faults, [{"status": 503, "count": "always"}])
        with StandInService(SERVICE_PROGRAM, "--faults", str(faults)) as service:
            fetch = ["fetch", *self.connection(service.url, "--timeout", "2")]
            self.assert_complaint(qlczephra(*fetch), 1, "not done after 2 s", "the service answered 503", "--timeout")
            screen, terminal = pty.openpty()
            with subprocess.Popen([PROGRAM, *map(str, fetch)], stderr=terminal) as process:
                os.close(terminal)
                shown = b""
                try:
                    while chunk := os.read(screen, 4096):
                        shown += chunk
                except OSError:
                    pass  # a terminal without a program behind it reads as an error
            os.close(screen)
            self.assertEqual(process.returncode, 1)
            self.assertRegex(shown, rb"next try in \d+ s: the service answered 503")

    def test_a_refused_fetch_is_repeated(self):
        faults = self.folder / "few-faults.json"
        write_faults(faults, [{"status": 503, "count": 3}])
        with StandInService(SERVICE_PROGRAM, "--faults", str(faults)) as service:
            self.assertEqual(qlczephra("get", "common.time.enabled", *self.connection(service.url)).out, "true\n")

    def test_tls_trusts_the_given_authority_only(self):
        authority, other = self.folder / "authority.pem", self.folder / "other.pem"
        with StandInService(SERVICE_PROGRAM, "--tls", "--write-ca", str(authority)) as service, \
                StandInService(SERVICE_PROGRAM, "--tls", "--write-ca", str(other)):
            read = ["get", "common.time.enabled", *self.connection(service.url, "--timeout", "1")]
            self.assertEqual(qlczephra(*read, "--ca", authority).out, "true\n")
            self.assert_complaint(qlczephra(*read), 1, "no reply came")
            self.assert_complaint(qlczephra(*read, "--ca", other), 1, "no reply came")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
