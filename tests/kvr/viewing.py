"""What the tests of the inspector's server share: a browser's window, as plain HTTP."""

import http.client
import json
import socket
import struct
import threading
import time
import urllib.parse

import numpy as np

PATIENCE = 20.0  # seconds


class Answer:
    """An answer that was read whole."""

    def __init__(self, found):
        self.status = found.status
        self.headers = {name.lower(): value for name, value in found.getheaders()}
        self.data = found.read()

    @property
    def json(self):
        return json.loads(self.data)

    @property
    def error(self):
        return self.json["error"]

    @property
    def blocks(self):
        """The curves by name: (times, values, whether samples were left out)."""
        return read_blocks(self.data)


def read_blocks(data):
    (count,) = struct.unpack_from("<I", data)
    place, blocks = 4, {}
    for _ in range(count):
        (length,) = struct.unpack_from("<I", data, place)
        name = data[place + 4 : place + 4 + length].decode()
        place += 4 + length
        place += -place % 4
        flags, n = struct.unpack_from("<II", data, place)
        place += 8
        place += -place % 8
        times, values = np.frombuffer(data, "<f8", 2 * n, place).reshape(2, n)
        place += 16 * n
        blocks[name] = times, values, bool(flags & 1)
    assert place == len(data)
    return blocks


class Window:
    """A window of a browser that was admitted, on a connection a request."""

    def __init__(self, url, admitted=True):
        parts = urllib.parse.urlsplit(url)
        self.host, self.port, self.netloc = parts.hostname, parts.port, parts.netloc
        self.entrance = f"/?{parts.query}"
        self.cookie = None
        if admitted:
            self.enter()

    def enter(self, **headers):
        answer = self.ask("GET", self.entrance, **headers)
        if "set-cookie" in answer.headers:
            self.cookie = answer.headers["set-cookie"].partition(";")[0]
        return answer

    def ask(self, method, path, body=None, **headers):
        """The answer; a body that is not bytes is sent as JSON. None for a header leaves it out."""
        headers = {name.replace("_", "-"): value for name, value in headers.items()}
        if self.cookie is not None:
            headers.setdefault("Cookie", self.cookie)
        if method != "GET":
            headers.setdefault("Origin", f"http://{self.netloc}")
        if body is not None:
            headers.setdefault("Content-Type", "application/json")
            body = body if isinstance(body, bytes) else json.dumps(body)
        connection = http.client.HTTPConnection(self.host, self.port, timeout=20)
        try:
            kept = {name: value for name, value in headers.items() if value is not None}
            connection.request(method, path, body, kept)
            return Answer(connection.getresponse())
        finally:
            connection.close()

    def get(self, path):
        """The JSON of an answer that succeeds."""
        return self._succeeded(self.ask("GET", path))

    def send(self, method, path, body=None):
        """Change something; the JSON of an answer that succeeds."""
        return self._succeeded(self.ask(method, path, body))

    def curves(self, path):
        answer = self.ask("GET", path)
        assert answer.status == 200, answer.data
        return answer.blocks

    def _succeeded(self, answer):
        assert answer.status == 200, (answer.status, answer.data)
        return answer.json

    def signals(self):
        """The rows of the state by id."""
        columns = self.get("/api/state")["signals"]
        rows = (dict(zip(columns, row)) for row in zip(*columns.values()))
        return {row["id"]: row for row in rows}

    def listen(self):
        return Listener(self)


class Listener:
    """A window's stream of events."""

    def __init__(self, window):
        self._socket = socket.create_connection((window.host, window.port), timeout=20)
        request = (
            f"GET /api/events HTTP/1.1\r\nHost: {window.netloc}\r\nCookie: {window.cookie}\r\n"
        )
        self._socket.sendall(request.encode() + b"\r\n")
        self._answer = http.client.HTTPResponse(self._socket)
        self._answer.begin()
        assert self._answer.status == 200, self._answer.read()
        assert self._answer.getheader("content-type").startswith("text/event-stream")

    def next(self):
        """The next event and its data; comments are skipped. None at the end of the stream."""
        kind = None
        end = time.monotonic() + PATIENCE
        while line := self._answer.readline():
            assert time.monotonic() < end, "no event came"
            name, _, value = line.decode().rstrip("\n").partition(": ")
            if name == "event":
                kind = value
            elif name == "data":
                return kind, json.loads(value)
        return None

    def until(self, wanted):
        """The data of the next event of this kind."""
        while (event := self.next()) is not None:
            if event[0] == wanted:
                return event[1]
        raise AssertionError(f"the stream ended without {wanted}")

    def is_hung_up(self):
        """Whether the server has let go of the connection, within 20 seconds."""
        try:
            return self._socket.recv(1) == b""
        except TimeoutError:
            return False

    def close(self):
        self._answer.close()  # it holds the socket open
        self._socket.close()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()


def raw(window, data, most=1 << 20):
    """What the server answers to these bytes, until it closes or is quiet."""
    with socket.create_connection((window.host, window.port), timeout=5) as connection:
        connection.sendall(data)
        answer = b""
        try:
            while len(answer) < most and (part := connection.recv(65536)):
                answer += part
        except (TimeoutError, ConnectionResetError):
            pass
        return answer


def until(is_so):
    """Wait until it is so."""
    end = time.monotonic() + PATIENCE
    while not is_so():
        assert time.monotonic() < end
        time.sleep(0.01)


def in_threads(*actions):
    """Run them at once; what they raised."""
    failures = []

    def run(action):
        try:
            action()
        except BaseException as error:
            failures.append(error)

    threads = [threading.Thread(target=run, args=(action,)) for action in actions]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join(120)
    assert not any(thread.is_alive() for thread in threads)
    return failures


def compare(window, pair, **options):
    first, second = pair
    body = {"baseline": first.id, "other": second.id, "options": options}
    return window.send("PUT", "/api/comparison", body)
