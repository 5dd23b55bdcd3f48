"""Files that appear when they are whole."""
import os
import tempfile

from .columns import DataError


def write_whole(path, data, inputs):
    """Writes bytes under a temporary name in the same directory and renames it; an input is not replaced."""
    if os.path.exists(path):
        if any(os.path.exists(name) and os.path.samefile(path, name) for name in inputs):
            raise DataError(f"{path}: an input would be replaced.")
        if not os.path.isfile(path):
            raise DataError(f"{path}: is there and is no regular file.")
    temporary = None
    try:
        number, temporary = tempfile.mkstemp(prefix=".quilmar-", dir=os.path.dirname(path) or ".")
        with os.fdopen(number, "wb") as file:
            file.write(data)
        umask = os.umask(0)
        os.umask(umask)
        os.chmod(temporary, 0o666 & ~umask)
        os.replace(temporary, path)
        temporary = None
    except OSError as error:
        raise DataError(f"{path}: cannot be written: {error.strerror}.") from error
    finally:
        if temporary:
            os.unlink(temporary)
