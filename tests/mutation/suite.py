"""The quick suite: which tests reach which mutant, and whether they notice it."""

import collections
import concurrent.futures
import dataclasses
import os
import re
import subprocess
import tempfile
import time

# Test programs by folder. Those in OWN_PROCESSES need a process for each test.
PROGRAMS = {
    "base": ["base_test"],
    "store": ["store_test", "process_state_test", "removal_model_test"],
    "settings": ["settings_test"],
    "columns": ["columns_test"],
    "exchange": ["exchange_test"],
    "typedmap": [
        "typedmap_test",
        "typedmap_release_test",
        "typedmap_exhausted_memory_test",
        "typedmap_module_test",
    ],
    "binding": ["binding_test", "module_test", "exhausted_memory_test"],
    "embedded_host": ["messages_test", "objects_test"],
    "models": ["models_test"],
    "reliability": ["ledger_test"],
    ".": ["oddities_test"],
}
OWN_PROCESSES = {"process_state_test", "module_test", "exhausted_memory_test"}
NOT_GTEST = {"models_test": ["--steps=1500", "--seed=1"]}
SURVIVED = ("not noticed", "not reached")
LONGEST_FILTER = 100_000  # characters of an argument


@dataclasses.dataclass
class Test:
    program: str  # path
    name: str  # of GoogleTest; empty for a program without
    seconds: float = 0.0
    reached: frozenset = frozenset()


class Suite:
    def __init__(self, binary, programs, size, jobs):
        self.binary = binary
        self.programs = programs  # pairs of folder and name
        self.size = size  # mutants have numbers below this
        self.jobs = jobs
        self.noticed = collections.defaultdict(collections.Counter)  # programs by mutants' files

    def record(self):
        """Runs each test by itself and notes what it reaches. Fails if a test fails."""
        with concurrent.futures.ThreadPoolExecutor(self.jobs) as pool:
            listed = [
                test for tests in pool.map(self.listed, *zip(*self.programs)) for test in tests
            ]
            self.tests = list(pool.map(self.recorded, listed))
        self.tests.sort(key=lambda test: test.seconds)

    def listed(self, folder, program):
        path = os.path.join(self.binary, "tests", folder, program)
        if program in NOT_GTEST:
            return [Test(path, "")]
        output = subprocess.run(
            [path, "--gtest_list_tests"], check=True, stdout=subprocess.PIPE, text=True
        ).stdout
        tests, suite = [], ""
        for line in output.split("\n"):
            name = line.split("  # ")[0].rstrip()
            if re.match(r"^\S+\.$", name):
                suite = name
            elif line.startswith("  "):
                tests.append(Test(path, suite + name.strip()))
        return tests

    def recorded(self, test):
        with tempfile.NamedTemporaryFile() as notes:
            notes.truncate(self.size)
            began = time.monotonic()
            if not self.passes(test.program, [test], {"KVR_MUTANTS_REACHED": notes.name}, 300):
                raise SystemExit(f"mutate: {test.program} {test.name} fails without any change")
            test.seconds = time.monotonic() - began
            test.reached = frozenset(i for i, byte in enumerate(notes.read()) if byte)
        return test

    def passes(self, program, tests, variables, limit):
        command = [program]
        name = os.path.basename(program)
        if name in NOT_GTEST:
            command += NOT_GTEST[name]
        else:
            chosen = ":".join(test.name for test in tests)
            command += ["--gtest_brief=1", "--gtest_fail_fast", "--gtest_catch_exceptions=0"]
            if len(chosen) < LONGEST_FILTER:
                command.append(f"--gtest_filter={chosen}")
        try:
            result = subprocess.run(
                command,
                env={**os.environ, **variables},
                timeout=limit,
                stdin=subprocess.DEVNULL,
                stdout=subprocess.DEVNULL,
                stderr=subprocess.DEVNULL,
                check=False,
            )
        except subprocess.TimeoutExpired:
            return False
        return result.returncode == 0

    def judge(self, mutant):
        """The program that notices the mutant, or one of SURVIVED."""
        reaching = {}
        for test in self.tests:
            if mutant.number in test.reached:
                alone = os.path.basename(test.program) in OWN_PROCESSES
                reaching.setdefault((test.program, test.name if alone else ""), []).append(test)
        if not reaching:
            return "not reached"
        noticed = self.noticed[mutant.file]
        for program, tests in sorted(
            ((program, tests) for (program, _), tests in reaching.items()),
            key=lambda group: (-noticed[group[0]], sum(test.seconds for test in group[1])),
        ):
            limit = 5 + 2 * sum(test.seconds for test in tests)
            if not self.passes(program, tests, {"KVR_MUTANT": str(mutant.number)}, limit):
                noticed[program] += 1
                return os.path.basename(program)
        return "not noticed"

    def judge_all(self, mutants, report):
        """Notes the verdict of every mutant, and calls report() after each."""
        with concurrent.futures.ThreadPoolExecutor(self.jobs) as pool:
            for mutant, verdict in zip(mutants, pool.map(self.judge, mutants)):
                mutant.verdict = verdict
                report()
