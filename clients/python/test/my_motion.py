"""A motion service in Python: prints what the LED service sends. Lent until this process ends.

    my_motion.py ADDRESS
"""
import sys

import tavro


class MyMotion:
    """Shows on the terminal what the LEDs are to do."""

    @tavro.method
    def _animateLEDs(self, keys: list[str], times: list[list[float]],
                     values: list[list[float]]) -> None:
        """Takes over key frames.

        Args:
            keys: Memory keys of LEDs.
            times: For each key, seconds from now.
            values: For each key, what to reach at those times, 0 to 1.
        """
        for key, when, what in zip(keys, times, values):
            print(key, when, what, flush=True)


if __name__ == "__main__":
    with tavro.Robot(sys.argv[1]) as robot, robot.lend("HBMotion", MyMotion()) as lent:
        print("lent", flush=True)
        lent.wait()
