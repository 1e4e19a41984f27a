"""CSV files."""
