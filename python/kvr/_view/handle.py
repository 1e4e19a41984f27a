"""Starting the server."""

from __future__ import annotations

import ipaddress
import socket
import webbrowser
from contextlib import suppress
from typing import TYPE_CHECKING

from kvr._base.packages import need
from kvr._base.view import View

if TYPE_CHECKING:
    from collections.abc import Callable

    from kvr._comparing.comparison import Comparison
    from kvr._view.comparison import Plan
    from kvr._view.files import ShownFile


def view_store(*, port: int = 0, browser: bool = True) -> View:
    """Serve the store. Raises MissingPackage, TypeError, OverflowError or OSError for the port."""
    return start(port=port, browser=browser)


def view_comparison(comparison: Comparison, *, port: int = 0, browser: bool = True) -> View:
    """Serve the store with this comparison, whose runs are loaded where they are of files."""
    require_packages()
    from kvr._view.opening import plan_of_comparison

    return start(port=port, browser=browser, plan=plan_of_comparison(comparison))


def start(
    *,
    port: int = 0,
    browser: bool = True,
    address: str = "127.0.0.1",
    files: tuple[ShownFile, ...] = (),
    plan: Plan | None = None,
) -> View:
    """Serve the store on a thread, to this comparison if one is planned.

    address  an IP address of this machine; ValueError for what is none
    files    what the runs were loaded from

    Raises MissingPackage, ValueError, TypeError or OverflowError for the port, OSError.
    """
    require_packages()
    from kvr._view.gate import Gate, served_hosts
    from kvr._view.inspection import Inspection
    from kvr._view.routes import make_app
    from kvr._view.serving import Server, ServerThread
    from kvr._view.sessions import Sessions

    listener = _listener(address, port)
    port = listener.getsockname()[1]
    sessions = Sessions()

    def make(ready: Callable[[], None]) -> Server:
        inspection = Inspection(files, plan)
        gate = Gate(make_app(inspection), served_hosts(address, port), sessions, port)
        return Server(gate, inspection.watch, inspection.close, ready)

    server = ServerThread(listener, sessions, make)
    server.start()
    view = View(_address_text(address, port), server)
    if browser:
        open_browser(view.url)
    return view


def open_browser(url: str) -> bool:
    """Open the address in the user's browser; whether one was found."""
    with suppress(Exception):  # webbrowser raises what its commands raise
        return webbrowser.open(url)
    return False


def require_packages() -> None:
    for package in ("starlette", "uvicorn", "h11"):
        need(package, "view")


def _listener(address: str, port: int) -> socket.socket:
    """A socket that listens; port 0 takes a free one."""
    if isinstance(port, bool) or not isinstance(port, int):
        raise TypeError(f"port must be a whole number, not {port!r}")
    try:
        version = ipaddress.ip_address(address).version
    except ValueError:
        raise ValueError(f"{address!r} is not an IP address, such as 127.0.0.1") from None
    listener = socket.socket(socket.AF_INET6 if version == 6 else socket.AF_INET)
    try:
        # A server that was just ended leaves its port free for the next.
        listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        listener.bind((address, port))
        listener.listen(128)
    except OSError as error:
        listener.close()
        what = f"{error.strerror}; choose another port, or 0 for a free one"
        raise OSError(error.errno, what, f"port {port} of {address}") from error
    except BaseException:
        listener.close()
        raise
    return listener


def _address_text(address: str, port: int) -> str:
    """The address that a browser of this machine opens."""
    ip = ipaddress.ip_address(address)
    if ip.is_unspecified:
        address = "127.0.0.1" if ip.version == 4 else "::1"
    return f"http://[{address}]:{port}/" if ip.version == 6 else f"http://{address}:{port}/"
