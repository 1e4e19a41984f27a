"""The list of accepted survivors, survivors.txt: changes that no test could notice, and why.

An entry is a file, the line as it stands, the changes with "- " before each, and the reason; a blank
line ends it:

    kvrntob/columns/columns.cpp
    if (std::is_sorted(names.begin(), names.end(), before)) return;
    - std::is_sorted(names.begin(), names.end(), before) -> false
    A list that is sorted already is sorted again, with the same result.

A change that a line allows in several places is named once for all of them, and stands for as many
as survive.
"""


class Accepted:
    def __init__(self, path):
        self.path = path
        self.reasons = {}
        self.used = set()
        with open(path, encoding="utf-8") as file:
            text = "\n".join(line for line in file.read().split("\n") if not line.startswith("# "))
        for block in text.split("\n\n"):
            lines = block.strip("\n").split("\n")
            if len(lines) < 3:
                continue
            changes = [line[2:] for line in lines[2:] if line.startswith("- ")]
            reason = " ".join(line for line in lines[2:] if not line.startswith("- "))
            if not changes or not reason:
                raise SystemExit(
                    f"mutate: no change or no reason in {path}: {lines[0]}: {lines[1]}"
                )
            for change in changes:
                self.reasons[lines[0], lines[1], change] = reason

    def accepts(self, mutant):
        key = mutant.file, mutant.code, mutant.change
        if key in self.reasons:
            self.used.add(key)
        return key in self.reasons

    def stale(self, files):
        """Entries of these files that no survivor needs any more."""
        return [key for key in self.reasons if key not in self.used and key[0] in files]
