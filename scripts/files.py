"""Files that scripts write for keeping."""
import contextlib
import os


def write(path, content):
    """Gives a file these bytes as its whole content, or raises OSError and leaves it as it was.

    It is made beside the old one and renamed; links to it and its mode stay. What is no regular file,
    such as a device, is written into.
    """
    target = os.path.realpath(path)
    exists = os.path.exists(target)
    if exists and not os.path.isfile(target):
        with open(target, "wb") as file:
            file.write(content)
        return
    fresh = os.path.join(os.path.dirname(target), f".new-{os.getpid()}")
    file = open(fresh, "xb")
    try:
        with file:
            if exists:
                os.fchmod(file.fileno(), os.stat(target).st_mode & 0o777)
            file.write(content)
        os.replace(fresh, target)
    except BaseException:
        with contextlib.suppress(FileNotFoundError):
            os.unlink(fresh)
        raise
