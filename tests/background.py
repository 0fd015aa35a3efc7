"""A call run on a thread of its own, for tests where another thread waits."""

import threading


class ThreadWithResult(threading.Thread):
    def __init__(self, function, *args):
        super().__init__(daemon=True)
        self._call = lambda: function(*args)
        self._result = None

    def run(self):
        self._result = self._call()

    def result(self, timeout):
        """The call's answer, once it returned within `timeout` seconds."""
        self.join(timeout)
        assert not self.is_alive(), "still waiting"
        return self._result
