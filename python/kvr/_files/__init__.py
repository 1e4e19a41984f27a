"""Files with runs: the formats, and how they are opened."""
