"""What a run and a signal of the store and of a file have in common."""
