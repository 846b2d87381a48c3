"""The one exception the package raises for a failure of the library."""


class Error(Exception):
    """A failure of the library, for the file `path`.

    `status` names what failed, from the library's own statuses:

    - ``cannot_open``: the file cannot be opened or read (missing, a directory, no permission)
    - ``empty``: the file holds no byte
    - ``not_a_capture``: neither an item store file (ISF) nor a raw diagnostic stream
    - ``unreadable``: an ISF file in which the reader finds no item
    - ``damaged``: an ISF file with inconsistencies (cut short, say), read without ``allow_damaged``
    - ``read_failed``, ``cannot_create``, ``write_failed``: recording a raw stream failed while reading
      it, creating the ISF file or writing it
    - ``no_memory``: memory ran out
    - ``database_failed``: the campaign database refused (connection, disk full, ...)
    - ``file_failed``: a file could not be added to the campaign database

    ``str(error)`` is the library's message, which names the file.
    """

    def __init__(self, status, path, message):
        super().__init__(message)
        self.status = status
        self.path = path

    def __reduce__(self):
        # Errors cross process boundaries (campaign workers): keep every field when pickled.
        return (Error, (self.status, self.path, str(self)))
