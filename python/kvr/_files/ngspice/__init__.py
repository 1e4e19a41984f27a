"""Raw files of ngspice."""
