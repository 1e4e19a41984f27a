"""Reads a report back with plain Python, as its page does."""

from __future__ import annotations

import base64
import hashlib
import json
import struct
import zlib
from html.parser import HTMLParser

MASK = 2**64 - 1


class Elements(HTMLParser):
    """The elements of a file: (name, attributes, text), in order."""

    def __init__(self, text):
        super().__init__(convert_charrefs=True)
        self.found = []
        self._open = False
        self.feed(text)
        self.close()

    def handle_starttag(self, tag, attributes):
        self.found.append((tag, dict(attributes), []))
        self._open = True

    def handle_endtag(self, tag):
        self._open = False

    def handle_data(self, data):
        if self._open:
            self.found[-1][2].append(data)

    def named(self, name):
        return [(attributes, "".join(text)) for tag, attributes, text in self.found if tag == name]


class Report:
    """A report: its elements, the data it carries, and its curves."""

    def __init__(self, content):
        self.elements = Elements(content.decode("utf-8"))
        scripts = self.elements.named("script")
        self.held = {attributes["id"]: text for attributes, text in scripts if "id" in attributes}
        self.code = [text for attributes, text in scripts if "id" not in attributes]
        self.data = json.loads(inflated(self.held["kvr-data"]))

    def policy(self):
        """The directives of the policy, each with its sources."""
        metas = [meta for meta, _ in self.elements.named("meta") if "http-equiv" in meta]
        (meta,) = metas
        assert meta["http-equiv"] == "Content-Security-Policy"
        parts = (part.split() for part in meta["content"].split(";"))
        return {name: sources for name, *sources in parts}

    def verdicts(self):
        """The verdicts as `Comparison.to_dict` has them, settings and intervals put back."""
        rows = [dict(zip(self.data["fields"], row)) for row in self.data["verdicts"]]
        for row in rows:
            for name in ("tolerance", "sync"):
                if row[name] is not None:
                    row[name] = self.data[f"{name}s"][row[name]]
            numbers = iter(row["intervals"])
            row["intervals"] = [
                {"first": first, "last": last, "count": count}
                for first, last, count in zip(numbers, numbers, numbers)
            ]
        return rows

    def curves(self, place, component=0):
        """The curves of a pair: lists of times and values, None for what there is none of."""
        number = self.data["pairs"][place]["curves"]
        if number is None:
            return None
        header, arrays = unpacked(inflated(self.held[f"kvr-block-{number}"]))
        (one,) = [one for one in header["components"] if one["component"] == component]
        found = {}
        for name in ("baseline", "other", "baseline_imaginary", "other_imaginary"):
            side = one[name]
            found[name] = side and (arrays[side["times"]], arrays[side["values"]], side["thinned"])
        aligned = one["aligned"]
        found["difference"] = found["tolerance"] = None
        if aligned is not None:
            at = None if aligned["at"] is None else arrays[aligned["at"]]
            found["difference"] = (arrays[aligned["times"]], difference_of(aligned, found, arrays))
            found["tolerance"] = (arrays[aligned["times"]], tolerance_of(aligned, at, arrays))
        return found


def difference_of(aligned, found, arrays):
    if aligned["difference"] is not None:
        return arrays[aligned["difference"]]
    return [abs(a - b) for a, b in zip(found["baseline"][1], found["other"][1])]


def tolerance_of(aligned, at, arrays):
    if aligned["tolerance"] is not None:
        return arrays[aligned["tolerance"]]
    absolute, relative = aligned["absolute"], aligned["relative"]
    parts = [relative * abs(a) for a in at]
    return [part if part != part else max(absolute, part) for part in parts]


def inflated(text):
    return zlib.decompress(base64.b64decode(text, validate=True), -zlib.MAX_WBITS)


def unpacked(block):
    """The header of a block, and its arrays as lists of numbers."""
    (length,) = struct.unpack_from("<I", block)
    header = json.loads(block[4 : 4 + length])
    place = 4 + length
    arrays = []
    for array in header["arrays"]:
        size = 4 if array["form"] in ("grid", "rate") else 8
        end = place + size * array["n"]
        arrays.append(unpacked_array(array, block[place:end], size, arrays))
        place = end
    assert place == len(block)
    return header, arrays


def unpacked_array(array, planes, size, arrays):
    n = array["n"]
    whole = bytes(planes[plane * n + place] for place in range(n) for plane in range(size))
    if size == 4:
        numbers = summed(struct.unpack(f"<{n}I", whole), 2**32 - 1)
        if array["form"] == "rate":
            return [number / array["rate"] for number in numbers]
        return [array["start"] + number * array["step"] for number in numbers]
    bits = list(struct.unpack(f"<{n}Q", whole))
    if array["form"] == "steps":
        bits = summed(bits, MASK)
    elif array["form"] == "like":
        base = struct.unpack(f"<{n}Q", struct.pack(f"<{n}d", *arrays[array["base"]]))
        bits = [one ^ other for one, other in zip(bits, base)]
    return list(struct.unpack(f"<{n}d", struct.pack(f"<{n}Q", *bits)))


def summed(steps, mask):
    total = 0
    numbers = []
    for step in steps:
        total = (total + step) & mask
        numbers.append(total)
    return numbers


def sha256(text):
    digest = hashlib.sha256(text.encode("utf-8")).digest()
    return f"'sha256-{base64.b64encode(digest).decode('ascii')}'"
