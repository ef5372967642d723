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
import signal
import subprocess
import sys
import tempfile
import unittest

from stand_in_service import StandInService, control, write_faults

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

    def policy(self, values, *arguments):
        """What `policy` prints of a document with these values; each needs a schema of its kind."""

        def schema_of(value):
            if isinstance(value, dict):
                return {"properties": {name: schema_of(member) for name, member in value.items()}}
            kinds = {bool: ("boolean", False), int: ("integer", 0), str: ("string", ""), list: ("array", [])}
            kind, default = kinds[type(value)]
            return {"type": kind, "default": default}

        sections = {"common": {}, "macos": {}, "windows": {}, **values}
        schemas = {name: schema_of(section) for name, section in sections.items()}
        document = {"data": {"eff_schema": schemas, "values": sections}}
        return qlczephra("policy", *arguments, "--document", "-", text_in=json.dumps(document))

    def test_policies_are_the_same_from_the_service_a_stored_file_and_a_document(self):
        outputs = set()
        for source in (self.from_service, ["--file", self.stored], ["--document", SAMPLE]):
            human = qlczephra("policy", *source)
            machine = qlczephra("policy", "--json", *source)
            self.assertEqual((human.status, human.err, machine.status, machine.err), (0, "", 0, ""))
            outputs.add((human.out, machine.out))
        self.assertEqual(len(outputs), 1)
        text, records = human.out, json.loads(machine.out)
        self.assertEqual(list(records), sorted(["timeLimits", "curfew", "quota", "browsingProtection", "schedule",
                                                "contentCategories", "pmProxySettings", "firewall",
                                                "vort2ProxySettings"]))
        self.assertEqual(records["timeLimits"],
                         {"isEnabled": True, "curfew": records["curfew"], "quota": records["quota"]})
        self.assertEqual(records["curfew"]["days"][1],
                         {"dayName": "tuesday", "isEnabled": True, "ranges": [{"from": 1260, "until": 390}]})
        self.assertEqual(records["quota"]["days"][6], {"dayName": "sunday", "isEnabled": False, "duration": 0})
        self.assertEqual(records["schedule"], {"frequency": "weekly", "hour": 19, "minute": 30, "days": [7, 3]})
        self.assertEqual(records["pmProxySettings"]["proxies"][1],
                         {"address": "10.1.2.3", "httpPort": None, "httpsPort": 443})
        self.assertEqual(records["firewall"]["profiles"]["office"]["rules"][1]["signingIDs"],
                         ["com.example.meet", "com.example.meet.audio"])
        self.assertEqual(records["firewall"]["systemSettings"], {"enabled": True, "allowBuiltinsIn": True,
                                                                 "allowSignedIn": True, "blockAllIn": False})
        self.assertIn("\n  monday     |#############.............................######|     0-390, 1260-1440\n", text)
        self.assertRegex(text, r"\n  office   Büro            yes      per rule      block; allow built-in, trusted  ")
        for name, record in records.items():
            self.assertEqual(json.loads(qlczephra("policy", name, "--json", "--file", self.stored).out), record)
            alone = qlczephra("policy", name, "--file", self.stored).out
            self.assertTrue(alone.startswith(f"{name}: ") and alone in text, alone)

    def test_policy_lays_pending_changes_over_a_document(self):
        patch = self.folder / "pending.plist"
        patch.write_bytes(plistlib.dumps({"common": {"time": {"curfew": {"enabled": False}}}}))
        result = qlczephra("policy", "curfew", "--document", SAMPLE, "--patch", patch)
        self.assertEqual((result.status, result.out), (0, "curfew: none\n"))
        self.assertEqual(qlczephra("policy", "curfew", "--document", SAMPLE, "--patch", patch, "--json").out, "null\n")

    def test_a_curfew_that_cannot_be_minutes_of_a_day_is_shown_as_numbers(self):
        curfew = {"enabled": True, "monday": {"ranges": [{"from": 1, "until": 1441}]}, "sunday": {"ranges": []}}
        result = self.policy({"common": {"time": {"curfew": curfew}}}, "curfew")
        self.assertEqual(result.out, "curfew: on\n  monday     1-1441\n  tuesday    no entry\n  wednesday  no entry\n"
                         "  thursday   no entry\n  friday     no entry\n  saturday   no entry\n  sunday     -\n"
                         "  school nights: -\n  weekends: -\n")

    def test_the_library_s_line_on_rejected_addresses_stays_out_of_json(self):
        values = {"windows": {"vort2": {"proxy_type": "no_proxy"},
                              "policy_manager": {"override_address": {"host": ""}}}}
        human = self.policy(values, "pmProxySettings")
        self.assertEqual((human.out.splitlines()[0], human.err), ("returning nil here", ""))
        machine = self.policy(values, "pmProxySettings", "--json")
        self.assertEqual(machine.err, "returning nil here\n")
        self.assertIsNone(json.loads(machine.out)["overridePMAddress"])

    def test_policy_shows_no_setting_that_would_steer_the_terminal(self):
        values = {"common": {"sites": {"enabled": True, "list": [{"url": "\x1b[2J\nforged", "allowed": True}]}}}
        result = self.policy(values, "browsingProtection")
        self.assertEqual(result.out, 'browsingProtection: 1 allowed, 0 blocked\n  allowed  "\\u001b[2J\\nforged"\n')
        values["common"]["sites"]["list"] = [{"url": url, "allowed": False}
                                             for url in ("a\x7f", "\x80\x9b2J\x9f", "\xa0\xc5", "\\x")]
        self.assertEqual(self.policy(values, "browsingProtection").out,
                         'browsingProtection: 0 allowed, 4 blocked\n  blocked  "a\\u007f"\n'
                         '  blocked  "\\u0080\\u009b2J\\u009f"\n  blocked  \xa0\xc5\n  blocked  \\x\n')

    def test_identifiers_of_a_rule_can_be_told_apart(self):
        actions = {"action": "block", "allow_builtin": True, "allow_signed": True}
        rule = {"enabled": True, "name": "R", "action": "allow", "direction": "in",
                "signing_id_list": ["", "-", "a b", "c", '"'], "team_id_list": []}
        profile = {"profile_id": "p", "profile_name": "P", "rules": [rule],
                   "default_actions": {"incoming": actions, "outgoing": actions}}
        result = self.policy({"macos": {"firewall": {"profiles": [profile]}}}, "firewall")
        self.assertTrue(result.out.endswith('  "" "\\"" "-" "a b" c  -         -\n'), result.out)

    def test_a_curfew_range_of_no_length_draws_nothing(self):
        curfew = {"enabled": True, "monday": {"ranges": [{"from": 100, "until": 100}, {"from": 600, "until": 660}]}}
        result = self.policy({"common": {"time": {"curfew": curfew}}}, "curfew")
        self.assertIn(f"\n  monday     |{'.' * 20}##{'.' * 26}|", result.out)
        self.assertIn("  100-100, 600-660\n", result.out)

    def test_json_is_written_without_a_standard_error_and_refused_without_a_standard_output(self):
        command = f"'{PROGRAM}' policy --json --document '{SAMPLE}'"
        without_error, without_output = (
            Result(subprocess.run(["sh", "-c", f"{command} {closed}"], capture_output=True, text=True, timeout=60))
            for closed in ("2>&-", ">&-"))
        self.assertEqual((without_error.status, len(json.loads(without_error.out))), (0, 9))
        self.assert_complaint(without_output, 1, "standard output")

    def test_misuse_of_policy(self):
        self.assert_complaint(qlczephra("policy", "firewalls", "--file", self.stored), 2, "firewalls")
        self.assert_complaint(qlczephra("policy"), 2, "--document")
        self.assert_complaint(qlczephra("policy", "--document", SAMPLE, "--file", self.stored), 2, "--file")
        self.assert_complaint(qlczephra("policy", "--file", self.stored, "--patch", self.stored), 2, "--patch")
        self.assert_complaint(qlczephra("policy", "--document", self.stored), 1, self.stored)

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

    def values_at(self, url):
        return control(url, "product?product=corlane")["values"]

    def test_set_brings_a_typed_value_to_the_service(self):
        cases = [  # path, value and its kind, what the service has then
            ("common.time.curfew.enabled", ["false", "--bool"], False),
            ("common.time.quota.friday.duration", ["-7", "--int"], -7),
            ("common.time.quota.sunday.duration", ["--int", "18446744073709551615"], 2**64 - 1),
            ("macos.firewall.current_profile_id", ["false", "--string"], "false"),
            ("macos.firewall.current_profile_id", ["--string", "--", "--odd"], "--odd"),
            ("common.sites.list", ['[{"url": "https://new.example/", "allowed": true}]', "--json"],
             [{"url": "https://new.example/", "allowed": True}]),
            ("common.device_labels.desk", ["7.5", "--json"], 7.5),  # new in a dynamic group
        ]
        with StandInService(SERVICE_PROGRAM) as service:
            kept = self.folder / "set-kept.plist"
            for files in ([], ["--patch-file", kept], ["--patch-file", kept, "--local-file", self.folder / "set.plist"]):
                control(service.url, "reset", {})
                for path, value, expected in cases:
                    with self.subTest(path=path, value=value, files=files):
                        # What stands behind "--" ends the options.
                        result = qlczephra("set", path, *self.connection(service.url), *files, *value)
                        self.assertEqual((result.status, result.err), (0, ""))
                        self.assertIn(f"{path} = ", result.out)
                        at_service = self.values_at(service.url)
                        for name in path.split("."):
                            at_service = at_service[name]
                        self.assertEqual((type(at_service), at_service), (type(expected), expected))
            self.assertFalse(kept.exists())

    def test_set_against_a_file_records_and_later_uploads(self):
        patch = self.folder / "recorded.plist"
        self.assertEqual(qlczephra("pending", "--file", patch).out, "No change is pending.\n")
        sending = self.folder / "recorded-sending.plist"
        for path, value in (("common.time.enabled", "false"), ("common.a.b", "1"), ("common.a.b", "2")):
            result = qlczephra("set", path, value, "--json", "--file", patch)
            self.assertEqual((result.status, result.err, result.out),
                             (0, "", f"{path} = {value}: recorded in {sending}\n"))
        self.assertEqual(plistlib.loads(sending.read_bytes()), {"common": {"time": {"enabled": False}, "a": {"b": 2}}})
        self.assertEqual(os.stat(sending).st_mode & 0o777, 0o600)
        patch.write_bytes(plistlib.dumps({"common": {"a": {"b": 4}}}))
        self.assertEqual(qlczephra("pending", "--file", patch).out,
                         f"Handed to an upload ({sending}):\n  common.a.b = 2\n  common.time.enabled = false\n"
                         f"Waiting ({patch}):\n  common.a.b = 4\n")
        self.assertEqual(qlczephra("get", "common.time.enabled", *self.from_service, "--patch-file", patch).out, "false\n")

        with StandInService(SERVICE_PROGRAM) as service:
            uploaded = qlczephra("set", "common.a.c", "3", "--int", *self.connection(service.url), "--patch-file", patch)
            self.assertEqual(uploaded.status, 0, uploaded.err)
            self.assertEqual(self.values_at(service.url)["common"]["a"], {"b": 4, "c": 3})
            self.assertFalse(self.values_at(service.url)["common"]["time"]["enabled"])
        self.assertEqual(qlczephra("pending", "--file", patch).out, "No change is pending.\n")

    def test_a_change_that_the_service_does_not_take(self):
        faults = self.folder / "refusing.json"
        patch = self.folder / "refused.plist"
        sending = self.folder / "refused-sending.plist"
        for status, seconds in ((503, "not done after 2 s"), (403, "")):
            with self.subTest(status=status):
                write_faults(faults, [{"match": {"method": "PATCH"}, "status": status, "count": "always"}])
                with StandInService(SERVICE_PROGRAM, "--faults", str(faults)) as service:
                    change = ["set", "common.time.enabled", "false", "--bool", "--timeout", "2",
                              *self.connection(service.url)]
                    given_up = qlczephra(*change)
                    self.assert_complaint(given_up, 1, "common.time.enabled", seconds, f"answered {status}",
                                          "given up", "--patch-file")
                    self.assertEqual("may still be taken" in given_up.err, status == 503)
                    self.assert_complaint(qlczephra(*change, "--patch-file", patch), 1, f"answered {status}", "waits",
                                          f"qlczephra pending --file {patch}")
                self.assertEqual(qlczephra("pending", "--file", patch).out,
                                 f"Handed to an upload ({sending}):\n  common.time.enabled = false\n")
                self.assertEqual(json.loads(qlczephra("pending", "--file", patch, "--json").out),
                                 {"waiting": {}, "sending": {"common": {"time": {"enabled": False}}}})
        readonly = qlczephra("set", "macos.updates.channel", "beta", "--string", *self.from_service)
        self.assert_complaint(readonly, 1, "macos.updates.channel is read-only", "qlczephra readonly")

    def test_a_set_that_is_interrupted_leaves_nothing_behind(self):
        faults = self.folder / "hanging.json"
        write_faults(faults, [{"match": {"method": "PATCH"}, "status": 503, "count": "always"}])
        temporary = self.folder / "temporary"
        temporary.mkdir()
        with StandInService(SERVICE_PROGRAM, "--faults", str(faults)) as service:
            change = [PROGRAM, "set", "common.time.enabled", "false", "--bool", *self.connection(service.url), "--log", "info"]
            for number in (signal.SIGINT, signal.SIGTERM):
                with self.subTest(signal=number), \
                        subprocess.Popen(list(map(str, change)), stderr=subprocess.PIPE, text=True,
                                         env={**os.environ, "TMPDIR": str(temporary)}) as process:
                    while "Will retry patching" not in process.stderr.readline():
                        self.assertIsNone(process.poll())
                    self.assertEqual(len(list(temporary.iterdir())), 1)
                    process.send_signal(number)
                    said = process.stderr.read()
                    self.assertEqual(process.wait(timeout=10), 1)
                    self.assertRegex(said, r"(?m)^qlczephra: .*interrupted.*; .*may still be taken")
                    self.assertEqual(list(temporary.iterdir()), [])

    def test_a_change_is_recorded_or_not_whatever_its_path_and_an_earlier_outage_say(self):
        odd = self.folder / "odd.plist"
        for path in ("a, change refused: b", "The files of pending changes cannot be used, c"):
            result = qlczephra("set", path, "1", "--int", "--file", odd)
            self.assertEqual((result.status, result.err), (0, ""))
        # A file too large to be read is an outage, which the library tells of when it loads what is stored.
        change = ["set", "common.a", "1", "--int", *self.from_service, "--timeout", "1", "--local-file", self.folder / "o.plist"]
        for name, words in (("outage-sending.plist", ["the change waits"]), ("outage.plist", ["cannot record", "kept in memory"])):
            with self.subTest(unreadable=name):
                with open(self.folder / name, "wb") as unreadable:
                    unreadable.truncate(2**30 + 1)
                self.assert_complaint(qlczephra(*change, "--patch-file", self.folder / "outage.plist"), 1, *words)
                (self.folder / name).unlink()

    def test_pending_looks_at_files_only(self):
        real = self.folder / "real.plist"
        real.write_bytes(plistlib.dumps({"common": {"a": 1}}))
        fifo, link, folder = (self.folder / f"{kind}.plist" for kind in ("fifo", "link", "folder"))
        os.mkfifo(fifo)
        link.symlink_to(real)
        folder.mkdir()
        for file in (fifo, link, folder, real / "below.plist"):
            with self.subTest(file=file.name):
                result = qlczephra("pending", "--file", file)
                self.assertEqual((result.status, result.err, result.out), (0, "", "No change is pending.\n"))

    def test_push_id(self):
        with StandInService(SERVICE_PROGRAM) as service:
            self.assertEqual(qlczephra("push-id", "5f2a", *self.connection(service.url)).out,
                             f"Registered with {service.url}\n")
            machine = qlczephra("push-id", "", "--json", *self.connection(service.url))
            self.assertEqual(json.loads(machine.out), {"pns_id": ""})
            self.assertEqual(control(service.url, "product?product=corlane")["pns_ids"], ["5f2a", ""])
            self.assert_complaint(qlczephra("push-id", "1", "--service", service.url, "--product", "other", "--token", "t"),
                                  1, "push id", "--product")
            for pasted, word in ((b"5f2a\n", "control character"), (b"\x7f", "control character"), (b"5f\xff", "UTF-8")):
                with self.subTest(id=pasted):
                    self.assert_complaint(qlczephra("push-id", os.fsdecode(pasted), *self.connection(service.url)), 2,
                                          "push id", word)
            self.assertEqual(control(service.url, "product?product=corlane")["pns_ids"], ["5f2a", ""])

    def test_watch_uploads_and_tells_what_changes(self):
        patch = self.folder / "watched.plist"
        qlczephra("set", "common.time.curfew.enabled", "false", "--bool", "--file", patch)
        with StandInService(SERVICE_PROGRAM) as service:
            watch = ["watch", *self.connection(service.url, "--every", "1", "--patch-file", patch)]
            with subprocess.Popen([PROGRAM, *map(str, watch), "--json"], stdout=subprocess.PIPE, text=True) as process:
                def events(count):
                    return sorted((json.loads(process.stdout.readline()) for _ in range(count)), key=lambda e: e["event"])
                started, uploaded = events(2)
                self.assertEqual((started["event"], uploaded), ("started", {"event": "uploaded"}))
                self.assertGreater(started["settings"], 50)
                self.assertFalse(self.values_at(service.url)["common"]["time"]["curfew"]["enabled"])
                qlczephra("set", "common.time.quota.friday.duration", "45", "--int", *self.connection(service.url))
                qlczephra("set", "common.device_labels.desk", "seven", "--string", *self.connection(service.url))
                changed = {event["path"]: event for event in events(2)}
                self.assertEqual(changed["common.time.quota.friday.duration"],
                                 {"event": "changed", "path": "common.time.quota.friday.duration", "from": 150, "to": 45})
                self.assertEqual(changed["common.device_labels.desk"],
                                 {"event": "changed", "path": "common.device_labels.desk", "to": "seven"})
                self.assert_complaint(qlczephra("set", "common.a", "1", "--int", "--file", patch), 1, patch,
                                      "Another process has the files of pending changes")
                process.send_signal(signal.SIGINT)
                self.assertEqual(process.wait(timeout=10), 0)
            human = qlczephra(*watch, "--for", "1")
            self.assertRegex(human.out, rf"\AWatching the settings of product corlane from {service.url}: \d+ values\n\Z")
        self.assert_complaint(qlczephra("watch", "--service", self.url, "--product", "corlane", "--token", "wrong"),
                              1, "error 2", "give a token that is valid")

    def test_watch_can_be_interrupted_while_it_waits_for_a_token(self):
        watch = [PROGRAM, "watch", "--service", self.url, "--product", "corlane", "--token-stdin"]
        with subprocess.Popen(watch, stdin=subprocess.PIPE, stdout=subprocess.PIPE) as process:
            # More than a pipe holds: once it is written, the program has begun to read and waits for the rest.
            process.stdin.write(b"t" * 2**20)
            process.stdin.flush()
            process.terminate()
            self.assertEqual(process.wait(timeout=10), -signal.SIGTERM)

    def test_watch_takes_over_what_another_process_leaves(self):
        patch, sending = self.folder / "left.plist", self.folder / "left-sending.plist"
        faults = self.folder / "left-faults.json"
        write_faults(faults, [{"match": {"method": "PATCH"}, "status": 503, "count": "always"}])
        qlczephra("set", "common.time.enabled", "false", "--bool", "--file", patch)

        def watching(url):
            command = ["watch", "--json", "--every", "1", *self.connection(url, "--patch-file", patch)]
            process = subprocess.Popen([PROGRAM, *map(str, command)], stdout=subprocess.PIPE, text=True)
            self.addCleanup(process.stdout.close)
            self.addCleanup(process.wait)
            self.addCleanup(process.kill)  # cleanups run from the last to the first
            return process

        def event(process):
            """The next that is not of a value: the pending changes, which are laid over the settings, come and go."""
            while (name := json.loads(process.stdout.readline())["event"]) == "changed":
                pass
            return name

        with StandInService(SERVICE_PROGRAM, "--faults", str(faults)) as failing, StandInService(SERVICE_PROGRAM) as service:
            first = watching(failing.url)
            self.assertEqual(event(first), "started")
            second = watching(service.url)
            self.assertEqual(event(second), "started")
            sending.unlink()
            self.assertEqual(event(second), "settled")
            patch.write_bytes(plistlib.dumps({"common": {"a": {"b": 1}}}))
            first.terminate()
            self.assertEqual(first.wait(timeout=10), 0)
            self.assertEqual(event(second), "uploaded")
            self.assertEqual(self.values_at(service.url)["common"]["a"], {"b": 1})
            self.assertTrue(self.values_at(service.url)["common"]["time"]["enabled"])

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
            (["set", "common.a", "1", "--file", "p.plist"], "--bool, --int, --string and --json"),
            (["set", "common.a", "1", "--int", "--json", "--file", "p.plist"], "--bool, --int, --string and --json"),
            (["set", "common.a", "yes", "--bool", "--file", "p.plist"], "yes is no boolean"),
            (["set", "common.a", "1.5", "--int", "--file", "p.plist"], "1.5 is no whole number"),
            (["set", "common.a", "18446744073709551616", "--int", "--file", "p.plist"], "no whole number"),
            (["set", "common.a", "{", "--json", "--file", "p.plist"], "no JSON"),
            (["set", "common.a", "null", "--json", "--file", "p.plist"], "common.a"),
            (["set", "a" * 65536, "1", "--int", "--file", "p.plist"], "aaa: a name is too long; "),
            (["set", "common" + ".a" * 510, "1", "--int", "--file", "p.plist"], ".a: nested too deep; "),
            (["set", "common.a", "\x01", "--string", *self.from_service], "common.a"),
            (["set", "common.a", "1", "--int", "--file", "p"], "p has no"),
            (["set", "common.a", "1", "--int"], "--file"),
            (["set", "common.a", "1", "--int", "--file", "p.plist", *service], "--file"),
            (["pending"], "--uid"),
            (["pending", "--file", "p.plist", "--uid", "1"], "--uid"),
            (["push-id", *self.from_service], "ID"),
            (["watch"], "--service"),
            (["watch", *self.from_service, "--patch-file", "p"], "p has no"),
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
            (["pending", "--file", damaged], [damaged, "--file"]),
            (["set", "common.a", "1", "--int", "--file", missing / "p.plist"], [missing, "writable place"]),
            (["set", "common.a", "1", "--int", *self.from_service, "--patch-file", missing / "p.plist"],
             [missing, "writable place"]),
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
        for command in ("demo", "fetch", "get", "tree", "properties", "readonly", "interpret", "set", "pending",
                        "push-id", "watch"):
            helped = qlczephra(command, "--help")
            self.assertEqual(helped.status, 0)
            self.assertIn(f"Usage: qlczephra {command}", helped.out)
            self.assertIn("Examples:", helped.out)

    def test_countdown_on_a_terminal_only(self):
        faults = self.folder / "faults.json"
        write_faults(faults, [{"status": 503, "count": "always"}])
        with StandInService(SERVICE_PROGRAM, "--faults", str(faults)) as service:
            connection = self.connection(service.url, "--timeout", "2")
            for command in (["fetch", *connection], ["push-id", "1", *connection],
                            ["set", "common.a", "1", "--int", "--patch-file", self.folder / "counted.plist", *connection]):
                with self.subTest(command=command[0]):
                    self.assert_complaint(qlczephra(*command), 1, "not done after 2 s", "the service answered 503")
                    screen, terminal = pty.openpty()
                    with subprocess.Popen([PROGRAM, *map(str, command)], stderr=terminal) as process:
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
