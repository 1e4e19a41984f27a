"""The command kvr view, run as a process."""

import os
import re
import signal
import socket
import subprocess
import sys
import time

import kvr
import pytest
from viewing import Window

pytest.importorskip("starlette")
pytest.importorskip("uvicorn")


@pytest.fixture
def files(tmp_path):
    (tmp_path / "a.csv").write_text("time,a\n0,1\n1,2\n")
    (tmp_path / "b.csv").write_text("time,a\n0,1\n1,5\n")
    store = kvr.Store()
    for name in ("Monday", "Tuesday"):
        store.new_run(name).add("a", [1.0], time=[0.0])
    store.save(tmp_path / "week.kvr")
    store.clear()
    return tmp_path


class Command:
    """kvr view, with the address that it printed."""

    def __init__(self, folder, *arguments):
        self.process = subprocess.Popen(
            [sys.executable, "-m", "kvr", "view", *arguments],
            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, cwd=folder,
            env=os.environ | {"BROWSER": "true"},
        )  # fmt: skip
        self.url = self.process.stdout.readline().rstrip("\n")

    def end(self, number=signal.SIGINT):
        """Exit code, output after the address, errors, and how long it took."""
        began = time.monotonic()
        self.process.send_signal(number)
        out, err = self.process.communicate(timeout=20)
        return self.process.returncode, out, err, time.monotonic() - began


@pytest.fixture
def view(files):
    commands = []

    def start(*arguments):
        commands.append(Command(files, *arguments))
        return commands[-1]

    yield start
    for command in commands:
        command.process.kill()
        command.process.communicate()


def run_names(window):
    return [run["name"] for run in window.get("/api/state")["runs"]]


def test_it_prints_its_address_serves_and_ends_on_ctrl_c(view):
    command = view("a.csv", "b.csv", "--no-browser")
    assert re.fullmatch(r"http://127\.0\.0\.1:\d+/\?token=[\w-]{43}", command.url)
    window = Window(command.url)
    assert run_names(window) == ["a", "b"]
    events = window.listen()
    assert events.next()[0] == "hello"
    code, out, err, seconds = command.end()
    assert (code, out, err) == (0, "", "")
    assert seconds < 6.0  # 1 second on a machine of its own; other tests may have the processors


def test_every_format_and_single_runs_are_loaded(view, files):
    kvr.Store().load(files / "b.csv")
    kvr.Store().save(files / "c.h5") if _has_h5py() else (files / "c.h5").unlink(missing_ok=True)
    more = ["c.h5"] if _has_h5py() else []
    command = view("week.kvr#Tuesday", "a.csv", *more, "--no-browser")
    window = Window(command.url)
    assert run_names(window)[:2] == ["Tuesday", "a"]
    assert len(run_names(window)) == 2 + len(more)
    assert window.get("/api/state")["files"][0] == {"path": "week.kvr", "state": "same"}


def _has_h5py():
    try:
        import h5py  # noqa: F401
    except ImportError:
        return False
    return True


def test_port_is_the_one_that_was_asked_for(view):
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        port = probe.getsockname()[1]
    command = view("a.csv", "--no-browser", "--port", str(port))
    assert command.url.startswith(f"http://127.0.0.1:{port}/?token=")
    first = Window(command.url)
    assert first.ask("GET", "/api/state").status == 200
    command.end(signal.SIGKILL)
    again = view("a.csv", "--no-browser", "--port", str(port))
    assert first.ask("GET", "/api/state").status == 401
    assert Window(again.url).ask("GET", "/api/state").status == 200


def test_other_loopback_address_is_served_when_asked_for(view):
    command = view("a.csv", "--no-browser", "--host", "127.0.0.2")
    window = Window(command.url)
    assert window.host == "127.0.0.2"
    assert run_names(window) == ["a"]
    assert window.ask("GET", "/", Host=f"127.0.0.1:{window.port}").status == 421


def test_all_addresses_still_demand_the_token_and_an_own_name(view):
    command = view("a.csv", "--no-browser", "--host", "0.0.0.0")
    window = Window(command.url)
    assert window.host == "127.0.0.1"
    assert window.ask("GET", "/api/state", Host=f"192.0.2.7:{window.port}").status == 200
    assert window.ask("GET", "/api/state", Host=f"evil.example:{window.port}").status == 421
    assert window.ask("GET", "/api/state", Cookie="kvr=1").status == 401


def test_address_of_version_6_is_served(view):
    try:
        with socket.socket(socket.AF_INET6) as probe:
            probe.bind(("::1", 0))
    except OSError:
        pytest.skip("this machine has no IPv6")
    command = view("a.csv", "--no-browser", "--host", "::1")
    assert command.url.startswith("http://[::1]:")
    assert run_names(Window(command.url)) == ["a"]


@pytest.mark.parametrize(
    ("arguments", "error"),
    [
        (["missing.csv"], "kvr: missing.csv: there is no such file; check the name\n"),
        (["week.kvr#Sunday"], "kvr: week.kvr: no run is named 'Sunday'; did you mean 'Monday' or 'Tuesday'?\n"),
        (["a.csv", "--host", "example.org"],
         "kvr: 'example.org' is not an IP address, such as 127.0.0.1\n"),
        (["a.csv", "--port", "65536"],
         "kvr view: argument --port: 65536 is not 0 to 65535; see kvr view --help\n"),
        (["a.csv", "--port", "{taken}"],
         "kvr: port {taken} of 127.0.0.1: Address already in use; choose another port, or 0 for a free one\n"),
    ],
)  # fmt: skip
def test_error_is_one_line_and_exit_code_2(view, arguments, error):
    with socket.socket() as taken:
        taken.bind(("127.0.0.1", 0))
        taken.listen()
        port = taken.getsockname()[1]
        command = view(*[text.format(taken=port) for text in arguments], "--no-browser")
        out, err = command.process.communicate(timeout=20)
    assert (command.process.returncode, command.url, out) == (2, "", "")
    assert err == error.format(taken=port)


def test_missing_package_is_named_before_files_are_read(files):
    program = (
        "import sys; sys.modules['uvicorn'] = None\n"
        "from kvr._command.main import main; sys.exit(main(['view', 'missing.csv']))"
    )
    done = subprocess.run(
        [sys.executable, "-c", program], capture_output=True, text=True, cwd=files
    )
    assert done.returncode == 2
    assert done.stderr == (
        "kvr: view needs uvicorn, which is not installed: try 'apt install python3-uvicorn'\n"
    )


def test_browser_is_opened_with_an_address_of_its_own(files, tmp_path):
    opener = tmp_path / "open"
    opener.write_text(f'#!/bin/sh\necho "$1" >{tmp_path}/opened\n')
    opener.chmod(0o755)
    process = subprocess.Popen(
        [sys.executable, "-m", "kvr", "view", "a.csv"], stdout=subprocess.PIPE, text=True, cwd=files,
        env=os.environ | {"BROWSER": str(opener)},
    )  # fmt: skip
    try:
        printed = process.stdout.readline().rstrip("\n")
        end = time.monotonic() + 20
        while not (tmp_path / "opened").exists() or not (tmp_path / "opened").read_text():
            assert time.monotonic() < end
            time.sleep(0.01)
        opened = (tmp_path / "opened").read_text().rstrip("\n")
        assert opened != printed
        for url in (printed, opened):
            assert run_names(Window(url)) == ["a"]
    finally:
        process.kill()
        process.communicate()
