class Failure(Exception):
    """Something that keeps a script from going on, for the one who runs it to mend."""
