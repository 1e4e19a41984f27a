"""Pages that carry their data: one file that opens from disk and asks no network."""
