"""GetBuffer waits with the interpreter lock released: other Python threads
run, and a CancelBuffer from one of them ends the wait."""

import threading
import time

from background import ThreadWithResult
from kyrscript import frame

STREAM = "device-stream0"


def test_cancel_ends_pending_wait(scripted, stream, capfd):
    waiter = ThreadWithResult(stream.GetBuffer, 60_000)
    waiter.start()
    assert scripted.wait_entered(STREAM + ".GetBuffer(60000)")
    assert stream.CancelBuffer()
    assert waiter.result(timeout=5) is None
    assert stream.GetLastError() == -1012
    assert capfd.readouterr().err.startswith("wrong buffer. Error: -1012 GenTL: An operation has been aborted")


def test_python_threads_run_while_get_buffer_waits(scripted, stream):
    # The helper needs the interpreter lock to count and to cancel; were it held
    # by the wait, the wait would only end at its own timeout.
    ticks = []

    def helper():
        assert scripted.wait_entered(STREAM + ".GetBuffer(20000)")
        for tick in range(10_000):
            ticks.append(tick)
        stream.CancelBuffer()

    thread = threading.Thread(target=helper, daemon=True)
    thread.start()
    started = time.monotonic()
    assert stream.GetBuffer(20_000) is None
    assert time.monotonic() - started < 10
    thread.join(5)
    assert len(ticks) == 10_000 and stream.GetLastError() == -1012


def test_cancel_without_waiter_leaves_the_next_wait_alone(scripted, stream):
    assert stream.CancelBuffer()
    scripted.push(STREAM + ".GetBuffer", frame(b"\x05" * 4, width=2, height=2))
    assert stream.GetBuffer(100).GetBufferPtr() == b"\x05" * 4
