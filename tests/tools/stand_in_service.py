"""The stand-in service as a process of its own, for tests of programs that talk to it."""

import json
import pathlib
import subprocess
import urllib.request

SETTINGS_PATH = "/zephra/client-api/v3/clients/me/products/corlane/settings"


class StandInService:
    """Runs from `with` to its end; `options` are those of zephra-service."""

    def __init__(self, program, *options):
        self._command = [program, *options]

    def __enter__(self):
        self._process = subprocess.Popen(self._command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, text=True)
        line = self._process.stdout.readline()
        assert line.startswith("listening on "), f"the stand-in service did not start: {line!r}"
        self.url = line.removeprefix("listening on ").strip()
        return self

    def __exit__(self, *_):
        self._process.terminate()
        self._process.communicate()
        assert self._process.returncode == 0, f"the stand-in service ended with {self._process.returncode}"


def control(url, what, body=None):
    """Asks the control interface; with a body it is a POST."""
    data = None if body is None else json.dumps(body).encode()
    with urllib.request.urlopen(urllib.request.Request(f"{url}/control/{what}", data)) as reply:
        content = reply.read()
    return json.loads(content) if content else None


def write_faults(path, faults):
    pathlib.Path(path).write_text(json.dumps(faults), encoding="utf-8")
