"""Comparing two runs, and what it found."""
