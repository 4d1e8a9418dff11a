# bench/run.py compares the times of two programs. The times mean nothing unless both make the same calls.

from conftest import table


@table("arguments", {"an image": "-i image.raw -w 3 -h 1", "a blank": "--blank"})
def test_yardstick(run, arguments):
    calls = run(f"planeshow-sim {arguments}").log
    assert run(f"yardstick {arguments}").log == calls
