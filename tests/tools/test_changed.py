"""tools/changed.py tells whether a change touches files of the given names."""

import os
import subprocess
import sys
from pathlib import Path

import pytest

CHANGED = Path(__file__).parents[2] / "tools/changed.py"


class Repository:
    def __init__(self, root: Path) -> None:
        self.root = root
        self.environment = {k: v for k, v in os.environ.items() if k != "KVR_LINT_BASE"}
        self.git("init", "-q", "-b", "main")

    def git(self, *arguments: str) -> str:
        command = ["git", "-c", "user.name=t", "-c", "user.email=t@localhost", *arguments]
        done = subprocess.run(
            command, cwd=self.root, env=self.environment, check=True, capture_output=True, text=True
        )
        return done.stdout.strip()

    def commit(self, *names: str) -> str:
        for name in names:
            path = self.root / name
            path.parent.mkdir(exist_ok=True)
            path.write_text(path.read_text() + "x" if path.exists() else "")
            self.git("add", name)
        self.git("commit", "-q", "-m", "x")
        return self.git("rev-parse", "HEAD")

    def touches(self, *patterns: str, since: str = "") -> bool:
        environment = {**self.environment, **({"KVR_LINT_BASE": since} if since else {})}
        command = [sys.executable, CHANGED, *patterns]
        done = subprocess.run(command, cwd=self.root, env=environment, stderr=subprocess.PIPE)
        assert done.returncode in (0, 1) and not done.stderr, done.stderr
        return done.returncode == 0


@pytest.fixture
def repository(tmp_path):
    return Repository(tmp_path)


def test_first_commit_touches_everything(repository):
    repository.commit("a.cpp")
    assert repository.touches("*.no")


def test_on_main_the_last_commit_counts(repository):
    repository.commit("a.cpp", "docs/b.md")
    repository.commit("docs/b.md")
    assert repository.touches("*.md") and repository.touches("*.cpp", "*.md")
    assert not repository.touches("*.cpp")


def test_on_a_branch_all_its_commits_count_and_none_of_main(repository):
    repository.commit("a.cpp", "b.md", "c.h")
    repository.git("switch", "-q", "-c", "work")
    repository.commit("a.cpp")
    repository.commit("b.md")
    repository.git("switch", "-q", "main")
    repository.commit("c.h")
    repository.git("switch", "-q", "work")
    assert repository.touches("*.cpp") and repository.touches("*.md")
    assert not repository.touches("*.h")


def test_uncommitted_and_new_files_count(repository):
    repository.commit("a.cpp", "b.md")
    repository.commit("b.md")
    assert not repository.touches("*.cpp") and not repository.touches("*.h")
    (repository.root / "a.cpp").write_text("changed")
    (repository.root / "new.h").write_text("")
    assert repository.touches("*.cpp") and repository.touches("*.h")


def test_another_commit_can_be_named(repository):
    first = repository.commit("a.cpp", "b.md")
    repository.commit("a.cpp")
    repository.commit("b.md")
    assert not repository.touches("*.cpp")
    assert repository.touches("*.cpp", since=first)
