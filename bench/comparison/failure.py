class Failure(Exception):
    """Something that keeps a run, or the whole measuring, from going on."""
