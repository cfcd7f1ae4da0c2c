"""Many runs of an FMU on Dask: zelvox.study and the console script zelvox-study."""
