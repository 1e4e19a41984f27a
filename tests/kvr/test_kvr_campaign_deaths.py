"""Workers of a campaign that die, in processes of this machine."""

import json
import os
import random
import signal
import subprocess
import sys
import time
from contextlib import suppress
from pathlib import Path

import kvr
import pytest
from campaign_files import default_interrupt, expected, outcome, write_pairs


@pytest.fixture
def pairs(tmp_path):
    return write_pairs(tmp_path, 12)


def run(pairs, **options):
    return list(kvr.campaign(pairs, **{"jobs": 2, **options}))


def own_children():
    """Process ids of the workers of this process."""
    children = Path(f"/proc/{os.getpid()}/task/{os.getpid()}/children").read_text().split()
    return [int(pid) for pid in children if is_worker(pid)]


def is_worker(pid):
    try:
        return "multiprocessing.spawn" in Path(f"/proc/{pid}/cmdline").read_text()
    except OSError:  # it has just ended
        return False


def test_workers_killed_at_random_lose_and_double_nothing(tmp_path):
    kills = 200 if os.environ.get("KVR_LONG_TESTS") else 15
    pairs = write_pairs(tmp_path, 40 * kills)
    chance = random.Random(1)
    found, killed = [], 0
    for result in kvr.campaign(pairs, jobs=2):
        found.append(result)
        children = own_children()
        if children and len(found) >= 40 * killed and killed < kills:
            time.sleep(chance.random() / 50)  # also while a worker starts
            with suppress(ProcessLookupError):  # it has just ended
                os.kill(chance.choice(children), signal.SIGKILL)
                killed += 1
    assert killed == kills
    assert outcome(found) == expected(pairs)
    assert own_children() == []


def test_a_worker_that_dies_while_it_starts_is_started_again(pairs, tmp_path):
    script = tmp_path / "main.py"
    script.write_text(
        "import os, pathlib, sys\n"
        "if __name__ == '__mp_main__':  # in the workers, before they take work\n"
        "    mark = pathlib.Path(sys.argv[1])\n"
        "    if not mark.exists():\n"
        "        mark.touch()\n"
        "        os._exit(9)\n"
        "import kvr, json\n"
        "if __name__ == '__main__':\n"
        "    found = list(kvr.campaign(json.loads(sys.argv[2]), jobs=1))\n"
        "    print(len(found), [result.error for result in found if result.error])\n"
    )
    output = subprocess.run(
        [sys.executable, script, tmp_path / "mark", json.dumps(pairs)],
        capture_output=True, text=True,
    )  # fmt: skip
    assert (tmp_path / "mark").exists()
    assert output.stdout == f"{len(pairs)} []\n", output.stderr


def test_interrupting_does_not_wait_for_a_comparison(tmp_path):
    (pair,) = write_pairs(tmp_path, 1)
    script = tmp_path / "main.py"
    script.write_text(
        "import json, pathlib, sys, time\n"
        "import kvr._campaign.work as work\n"
        "def endless(job):\n"
        "    pathlib.Path(sys.argv[1]).touch()\n"
        "    time.sleep(3600)\n"
        "work._compared = endless  # in the workers too: they import this script\n"
        "import kvr\n"
        "if __name__ == '__main__':\n"
        "    list(kvr.campaign([json.loads(sys.argv[2])], jobs=1))\n"
    )
    command = [sys.executable, script, tmp_path / "mark", json.dumps(pair)]
    with subprocess.Popen(
        command, stderr=subprocess.PIPE, text=True, preexec_fn=default_interrupt
    ) as process:
        while not (tmp_path / "mark").exists():
            assert process.poll() is None
            time.sleep(0.01)
        process.send_signal(signal.SIGINT)
        try:
            _, errors = process.communicate(timeout=60)  # an hour if it waited
        finally:
            process.kill()
    assert errors.rstrip().endswith("KeyboardInterrupt")


def test_a_pair_that_kills_its_worker_says_so_and_the_others_go_on(pairs, tmp_path):
    script = tmp_path / "main.py"
    script.write_text(
        "import os, sys, json\n"
        "import kvr._campaign.work as work\n"
        "compared = work._compared\n"
        "def deadly(job):\n"
        "    if job.baseline.endswith('base5.csv'):\n"
        "        os._exit(9)\n"
        "    return compared(job)\n"
        "work._compared = deadly  # in the workers too: they import this script\n"
        "import kvr\n"
        "if __name__ == '__main__':\n"
        "    pairs = json.loads(sys.argv[1])\n"
        "    for result in kvr.campaign(pairs, jobs=2):\n"
        "        print(json.dumps(result.to_dict()), flush=True)\n"
    )
    output = subprocess.run(
        [sys.executable, str(script), json.dumps(pairs)], capture_output=True, text=True
    )
    rows = {row["baseline"]: row for row in map(json.loads, output.stdout.splitlines())}
    assert len(rows) == len(pairs) == len(output.stdout.splitlines()), output.stderr
    deadly = rows.pop(pairs[5][0])
    assert deadly["error"].startswith("its worker died 4 times, at last: process ")
    assert not any(row["error"] for row in rows.values())


def test_a_script_without_a_guard_is_told(pairs, tmp_path):
    script = tmp_path / "unguarded.py"
    script.write_text(f"import kvr\nprint(list(kvr.campaign([{pairs[0]!r}], jobs=1)))\n")
    output = subprocess.run([sys.executable, str(script)], capture_output=True, text=True)
    assert output.returncode != 0
    assert output.stderr.strip().splitlines()[-1] == (
        "RuntimeError: the worker processes cannot start; a script must call kvr.campaign under "
        'if __name__ == "__main__"'
    )


def test_leaving_the_loop_ends_the_workers(pairs):
    running = kvr.campaign(pairs * 50, jobs=2)
    next(running)
    assert len(own_children()) == 2
    running.close()
    assert own_children() == []


def test_the_workers_end_with_a_killed_parent(tmp_path):
    script = tmp_path / "main.py"
    pairs = write_pairs(tmp_path, 3)
    script.write_text(
        "import itertools, kvr, os, pathlib, time\n"
        "if __name__ == '__main__':\n"
        f"    for _ in kvr.campaign(itertools.cycle({pairs!r}), jobs=2):\n"
        "        children = pathlib.Path(f'/proc/{os.getpid()}/task/{os.getpid()}/children')\n"
        "        print(children.read_text(), flush=True)\n"
        "        time.sleep(60)\n"
    )
    with subprocess.Popen([sys.executable, str(script)], stdout=subprocess.PIPE, text=True) as run:
        children = [int(pid) for pid in run.stdout.readline().split()]
        assert len(children) >= 2
        run.kill()
    deadline = time.monotonic() + 20
    while any(os.path.exists(f"/proc/{pid}") for pid in children):
        assert time.monotonic() < deadline, "workers outlive their parent"
        time.sleep(0.05)


def test_a_worker_that_has_started_before_may_fail_to_start_many_times(pairs, tmp_path):
    """Its first one dies at its first pair; then ten die before they take work."""
    script = tmp_path / "main.py"
    script.write_text(
        "import os, pathlib, sys\n"
        "if __name__ == '__mp_main__':  # in the workers\n"
        "    mark = pathlib.Path(sys.argv[1])\n"
        "    starts = mark.read_text() if mark.exists() else ''\n"
        "    mark.write_text(starts + '.')\n"
        "    if 1 <= len(starts) <= 10:\n"
        "        os._exit(9)\n"
        "    if not starts:\n"
        "        import kvr._campaign.work as work\n"
        "        work._compared = lambda job: os._exit(9)\n"
        "import kvr, json\n"
        "if __name__ == '__main__':\n"
        "    found = list(kvr.campaign(json.loads(sys.argv[2]), jobs=1))\n"
        "    print(len(found), [result.error for result in found if result.error])\n"
    )
    output = subprocess.run(
        [sys.executable, script, tmp_path / "mark", json.dumps(pairs[:3])],
        capture_output=True, text=True,
    )  # fmt: skip
    assert len((tmp_path / "mark").read_text()) == 12, output.stderr
    assert output.stdout == "3 []\n", output.stderr
