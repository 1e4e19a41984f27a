"""The server of the inspector: the store of this process, shown in a browser.

`handle` starts it, on Starlette and uvicorn, which are imported then. docs/inspector.md lists the
requests. What happens on which thread:

    the server's   gate, routes, inspection: one event loop
    the worker's   every touch of the store, one job after the other
    others         building trees of curves, judging pairs: arrays alone
"""
