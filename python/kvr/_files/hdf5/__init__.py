"""HDF5 files."""
