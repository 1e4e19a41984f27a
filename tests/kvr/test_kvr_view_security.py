"""Who may talk to the inspector's server, and what it says to everybody else."""

import logging
import re
import socket

import kvr
import pytest
from viewing import Window, raw

pytest.importorskip("starlette")
pytest.importorskip("uvicorn")

POLICY = {
    "content-security-policy": "default-src 'none'; script-src 'self'; style-src 'self'; "
    "img-src 'self' data: blob:; connect-src 'self'; base-uri 'none'; form-action 'none'; "
    "frame-ancestors 'none'",
    "x-content-type-options": "nosniff",
    "referrer-policy": "no-referrer",
    "cross-origin-opener-policy": "same-origin",
    "cross-origin-resource-policy": "same-origin",
    "cache-control": "no-store",
}


@pytest.fixture(scope="module")
def view():
    with kvr.Store().view(browser=False) as view:
        yield view


@pytest.fixture
def window(view):
    return Window(view.url)


@pytest.fixture
def stranger(view):
    """A browser that was not admitted."""
    return Window(view.url, admitted=False)


def token_of(window):
    return window.entrance.partition("token=")[2]


# ---- Token and cookie ----


def test_token_is_swapped_for_a_strict_cookie_that_scripts_cannot_read(stranger):
    answer = stranger.enter()
    assert (answer.status, answer.headers["location"]) == (303, "/")
    value, *attributes = answer.headers["set-cookie"].split("; ")
    assert {text.lower() for text in attributes} == {"httponly", "path=/", "samesite=strict"}
    assert value.startswith(f"kvr-{stranger.port}=")
    assert token_of(stranger) not in str(answer.headers)


def test_token_and_cookie_have_256_random_bits(view):
    seen = {view.url for _ in range(50)}
    assert len(seen) == 50
    window = Window(view.url)
    for secret in (token_of(window), window.cookie.partition("=")[2]):
        assert re.fullmatch(r"[\w-]{43}", secret)  # 32 bytes


def test_token_admits_once(view, stranger):
    assert stranger.enter().status == 303
    second = Window(view.url, admitted=False)
    second.entrance = stranger.entrance
    answer = second.enter()
    assert answer.status == 401
    assert "set-cookie" not in answer.headers


def test_admitted_browser_may_open_its_old_address_again(window):
    answer = window.enter()
    assert (answer.status, answer.headers["location"]) == (303, "/")
    assert "set-cookie" not in answer.headers


@pytest.mark.parametrize("token", ["", "x", "%00", "%ff%fe", "é".encode().hex(), "A" * 4000])
def test_wrong_token_is_refused(stranger, token):
    answer = stranger.ask("GET", f"/?token={token}")
    assert answer.status == 401
    assert "set-cookie" not in answer.headers


def test_link_of_another_page_admits_by_a_step_of_its_own(stranger, view):
    """A browser withholds the strict cookie from where a foreign page's link is redirected to."""
    answer = stranger.enter(Sec_Fetch_Site="cross-site", Sec_Fetch_Mode="navigate")
    assert answer.status == 200
    assert answer.data == (
        b'<!doctype html><meta http-equiv="refresh" content="0;url=/"><title>kvr</title>'
    )
    assert stranger.ask("GET", "/api/state").status == 200


PATHS = [
    "/",
    "/page.js",
    "/page.css",
    "/api/state",
    "/api/events",
    "/nothing",
    "/api/../etc/passwd",
]


@pytest.mark.parametrize("path", PATHS)
@pytest.mark.parametrize("cookie", [None, "", "kvr=1", "kvr-{port}=", "kvr-{port}=abc", "{other}"])
def test_nothing_is_answered_without_the_cookie(view, stranger, path, cookie):
    if cookie is not None:
        other = Window(view.url).cookie.replace(f"kvr-{stranger.port}", "kvr-1")
        cookie = cookie.format(port=stranger.port, other=other)
    answer = stranger.ask("GET", path, Cookie=cookie)
    assert answer.status == 401
    assert "open the whole address that the server printed" in answer.error


def test_cookie_of_a_server_that_ended_is_refused_by_the_next_one_on_its_port(store):
    with store.view(browser=False) as view:
        window = Window(view.url)
        assert window.ask("GET", "/api/state").status == 200
    with store.view(port=window.port, browser=False):
        assert window.ask("GET", "/api/state").status == 401


def test_token_is_in_no_log(store, caplog, capfd):
    with caplog.at_level(logging.DEBUG), store.view(browser=False) as view:
        window = Window(view.url)
        window.ask("GET", window.entrance)
        window.ask("GET", "/nothing")
        raw(window, b"nonsense " + token_of(window).encode() + b"\r\n\r\n")
    written = caplog.text + "".join(capfd.readouterr())
    for secret in (token_of(window), window.cookie.partition("=")[2]):
        assert secret not in written


# ---- Where a request comes from ----


@pytest.mark.parametrize(
    "host",
    ["evil.example", "evil.example:{port}", "127.0.0.1", "127.0.0.1:1", "127.0.0.1:{port}0",
     "127.0.0.2:{port}", "localhost.evil.example:{port}", "[::1]:{port}", "127.0.0.1:{port}@x",
     "0x7f000001:{port}", "", "127.0.0.1:", ":{port}", "127.0.0.1:{port}:{port}", "127.0.0.1:٣"],
)  # fmt: skip
@pytest.mark.parametrize("path", ["/", "/api/state", "/page.js"])
def test_foreign_host_is_refused(window, host, path):
    named = host.format(port=window.port).encode()
    request = b"GET %s HTTP/1.1\r\nHost: %s\r\nCookie: %s\r\nConnection: close\r\n\r\n"
    answer = raw(window, request % (path.encode(), named, window.cookie.encode()))
    assert answer.split()[1] in (b"421", b"400")
    assert b"content-security-policy" in answer


def test_request_without_a_host_is_refused(window):
    cookie = window.cookie.encode()
    answer = raw(window, b"GET /api/state HTTP/1.0\r\nCookie: %s\r\n\r\n" % cookie)
    assert answer.startswith(b"HTTP/1.1 421 ")


def test_two_hosts_are_refused(window):
    lines = f"GET / HTTP/1.1\r\nHost: {window.netloc}\r\nHost: evil.example\r\n\r\n"
    assert raw(window, lines.encode()).startswith(b"HTTP/1.1 400 ")


def test_localhost_is_served(window):
    assert window.ask("GET", "/api/state", Host=f"localhost:{window.port}").status == 200


CHANGES = [
    ("PATCH", "/api/signals/1"), ("DELETE", "/api/runs/1"), ("POST", "/api/runs/1/copy"),
    ("PUT", "/api/comparison"), ("POST", "/api/readings"), ("OPTIONS", "/api/signals/1"),
]  # fmt: skip


@pytest.mark.parametrize("origin", [None, "null", "http://evil.example", "https://{own}", "{own}",
                                    "http://{own}/", "http://127.0.0.1", "http://localhost:{port}"])  # fmt: skip
@pytest.mark.parametrize(("method", "path"), CHANGES)
def test_change_by_another_origin_is_refused_and_changes_nothing(
    store, window, method, path, origin
):
    signal = store.new_run("Monday").add("speed", [1.0], time=[0.0])
    given = origin and origin.format(own=window.netloc, port=window.port)
    answer = window.ask(method, path, {"visible": True}, Origin=given)
    assert answer.status == 403
    assert (len(store), signal.visible) == (1, False)


@pytest.mark.parametrize("site", ["cross-site", "same-site", "nonsense"])
@pytest.mark.parametrize("path", ["/api/state", "/page.js", "/api/export.kvr", "/api/events"])
def test_request_of_another_site_is_refused_even_with_the_cookie(window, path, site):
    answer = window.ask("GET", path, Sec_Fetch_Site=site, Sec_Fetch_Mode="no-cors")
    assert answer.status == 403


@pytest.mark.parametrize("destination", ["iframe", "embed", "script", "image"])
def test_page_of_another_site_cannot_take_the_page_in(window, destination):
    headers = {"Sec_Fetch_Site": "cross-site", "Sec_Fetch_Mode": "navigate"}
    assert window.ask("GET", "/", Sec_Fetch_Dest=destination, **headers).status == 403


def test_foreign_origin_is_refused_for_reading_too(window):
    assert window.ask("GET", "/api/state", Origin="http://evil.example").status == 403


# ---- What is asked for ----


@pytest.mark.parametrize(
    "path",
    ["/../etc/passwd", "/%2e%2e/%2e%2e/etc/passwd", "/page.js/../../x", "/..%2fpage.html", "//",
     "/page.html", "/_page/page.js", "/api", "/api/", "/api/state/", "/api/signals/", "/%00",
     "/api/signals/1/2", "/api/runs/1/", "/PAGE.JS", "/page.js%00", "/static/page.js"],
)  # fmt: skip
def test_address_that_does_not_exist_is_404(window, path):
    answer = window.ask("GET", path)
    assert answer.status == 404
    assert answer.error == "there is nothing at this address"


@pytest.mark.parametrize(
    ("method", "path", "allowed"),
    [
        ("POST", "/", "GET"), ("HEAD", "/", "GET"), ("DELETE", "/page.js", "GET"),
        ("HEAD", "/api/events", "GET"), ("OPTIONS", "/api/state", "GET"),
        ("TRACE", "/api/state", "GET"), ("GET", "/api/signals/1", "DELETE, PATCH"),
        ("POST", "/api/comparison", "DELETE, GET, PUT"), ("BREW", "/api/readings", "POST"),
    ],
)  # fmt: skip
def test_method_that_is_not_offered_is_405(window, method, path, allowed):
    answer = window.ask(method, path)
    assert answer.status == 405
    assert answer.headers["allow"] == allowed


def test_long_body_is_refused_before_it_is_read(window):
    head = (
        f"PATCH /api/signals/1 HTTP/1.1\r\nHost: {window.netloc}\r\nCookie: {window.cookie}\r\n"
        f"Origin: http://{window.netloc}\r\nContent-Type: application/json\r\n"
    )
    answer = raw(window, f"{head}Content-Length: 100000000000\r\n\r\n".encode())
    assert answer.startswith(b"HTTP/1.1 413 ")
    assert b"connection: close" in answer.lower()


def test_long_body_in_chunks_is_refused_before_it_is_read_whole(window):
    head = (
        f"PATCH /api/signals/1 HTTP/1.1\r\nHost: {window.netloc}\r\nCookie: {window.cookie}\r\n"
        f"Origin: http://{window.netloc}\r\nTransfer-Encoding: chunked\r\n\r\n"
    )
    chunk = b"100000\r\n" + b" " * 0x100000 + b"\r\n"
    with socket.create_connection((window.host, window.port), timeout=20) as connection:
        connection.sendall(head.encode() + 4 * chunk + b"2\r\n  \r\n")  # and no end
        assert connection.recv(12) == b"HTTP/1.1 413"


@pytest.mark.parametrize(
    "data",
    [b"nonsense\r\n\r\n", b"\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03",
     b"GET /" + b"a" * 100_000 + b" HTTP/1.1\r\n\r\n", b"GET / HTTP/1.1\r\nHost : x\r\n\r\n",
     b"GET / HTTP/1.1\r\nContent-Length: -1\r\nHost: x\r\n\r\n"],
)  # fmt: skip
def test_what_is_no_http_is_400_with_the_policy(window, data):
    answer = raw(window, data)
    head = answer.partition(b"\r\n\r\n")[0].decode().lower()
    assert head.startswith("http/1.1 400 ")
    for name, value in POLICY.items():
        assert f"{name}: {value.lower()}" in head
    assert window.ask("GET", "/api/state").status == 200


def test_web_socket_is_refused(window):
    lines = (
        f"GET /api/events HTTP/1.1\r\nHost: {window.netloc}\r\nCookie: {window.cookie}\r\n"
        "Connection: Upgrade\r\nUpgrade: websocket\r\nSec-WebSocket-Version: 13\r\n"
        "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n\r\n"
    )
    assert raw(window, lines.encode()).startswith(b"HTTP/1.1 400 ")


# ---- What every answer has ----

ANSWERS = {
    "page": ("GET", "/", {}),
    "script": ("GET", "/page.js", {}),
    "state": ("GET", "/api/state", {}),
    "no icon": ("GET", "/favicon.ico", {}),
    "not found": ("GET", "/nothing", {}),
    "not offered": ("POST", "/", {}),
    "not admitted": ("GET", "/api/state", {"Cookie": "kvr=1"}),
    "foreign host": ("GET", "/", {"Host": "evil.example"}),
    "foreign origin": ("PATCH", "/api/signals/1", {"Origin": "null"}),
    "gone": ("DELETE", "/api/signals/7", {}),
    "wrong": ("GET", "/api/groups?by=x", {}),
    "step": ("GET", "/", {"Sec-Fetch-Site": "cross-site", "Sec-Fetch-Mode": "navigate"}),
}


@pytest.mark.parametrize("what", ANSWERS)
def test_every_answer_has_the_policy(window, what):
    method, path, headers = ANSWERS[what]
    answer = window.ask(method, path, **headers)
    for name, value in POLICY.items():
        assert answer.headers[name] == value
    assert "server" not in answer.headers
    assert "access-control-allow-origin" not in answer.headers


def test_refusal_of_too_many_connections_has_the_policy(window):
    waiting = [socket.create_connection((window.host, window.port)) for _ in range(520)]
    try:
        answer = window.ask("GET", "/api/state")
        assert answer.status == 503
        assert answer.headers["content-security-policy"] == POLICY["content-security-policy"]
    finally:
        for connection in waiting:
            connection.close()


def test_failure_of_the_server_has_the_policy_and_is_logged(window, monkeypatch, caplog):
    def fail(self):
        raise RuntimeError("a fault of the program")

    monkeypatch.setattr(kvr.Run, "remove", fail)
    kvr.Store().new_run("Monday")
    answer = window.ask("DELETE", "/api/runs/1")
    assert answer.status == 500
    assert answer.error == "the server failed: RuntimeError: a fault of the program"
    assert answer.headers["content-security-policy"] == POLICY["content-security-policy"]
    assert "a fault of the program" in caplog.text


# ---- Where it listens ----


def test_it_listens_on_the_loopback_address_alone(window):
    with socket.socket() as probe:
        try:
            probe.connect(("192.0.2.1", 9))  # sends nothing; finds the address of this machine
            own = probe.getsockname()[0]
        except OSError:
            own = "127.0.0.2"
    with pytest.raises(ConnectionRefusedError):
        socket.create_connection((own, window.port), timeout=5)
