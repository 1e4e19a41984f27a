"""kvr view: the runs of files in the browser."""

from __future__ import annotations

import argparse
import sys

from kvr._view.handle import open_browser, require_packages, start

_EPILOG = """\
example: kvr view monday.csv tuesday.csv

Prints the address to open, which admits one browser once, and serves until Ctrl-C."""


def add_arguments(parser: argparse.ArgumentParser) -> None:
    parser.epilog = _EPILOG
    add = parser.add_argument
    add("files", metavar="FILE", nargs="+", help="a file of runs, or FILE#RUN for one of them")
    add("--port", metavar="N", type=port, default=0, help="a free one by default")
    add("--no-browser", action="store_true", help="only print the address")
    add("--host", metavar="ADDRESS", default="127.0.0.1",
        help="an IP address to listen on; any but 127.0.0.1 lets other machines in, unencrypted")  # fmt: skip


def port(text: str) -> int:
    number = int(text)
    if not 0 <= number < 65536:
        raise argparse.ArgumentTypeError(f"{text} is not 0 to 65535")
    return number


port.__name__ = "number"  # for the parser's messages


def run(options: argparse.Namespace) -> int:
    require_packages()
    from kvr._view.opening import load_files

    files = load_files(options.files)
    browser = not options.no_browser
    with start(port=options.port, browser=False, address=options.host, files=files) as view:
        print(view.url, flush=True)
        if browser and not open_browser(view.url):
            print("kvr: no browser could be opened: open the address above", file=sys.stderr)
        try:
            view.wait()
        except KeyboardInterrupt:
            pass
    return 0
