"""One kind of failure for everything a description can get wrong: `file:line: message`."""


class DescriptionError(Exception):
    def __init__(self, path, line, message):
        super().__init__(f"{path}:{line}: {message}")
        self.path = path
        self.line = line
        self.message = message


class ErrorList:
    """Collects errors so that one run reports every mistake it can find, not just the first."""

    def __init__(self):
        self.errors = []

    def add(self, path, line, message):
        self.errors.append(DescriptionError(path, line, message))

    def __bool__(self):
        return bool(self.errors)

    def lines(self):
        return [str(e) for e in self.errors]
