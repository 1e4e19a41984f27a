"""The command kvr."""
