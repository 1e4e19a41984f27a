"""The store of the process: runs, signals, columns and maps."""
