"""The package's own recordings."""
