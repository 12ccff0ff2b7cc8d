"""Futures that the robot promised, calls that are cancelled, and robots that go away."""
import concurrent.futures
import gc
import os
import signal
import threading

import pytest

import tavro
from conftest import eventually
from tavro import Robot
from tavro.process import RobotProcess


def running(robot, method):
    """The robot's calls of that method that run now."""
    return [call for call in robot.calls().running if call.method == method]


def test_a_future_is_waited_for(leds):
    fading = leds.fade("FaceLeds", 0.5, 0.2)
    assert isinstance(fading, concurrent.futures.Future) and not fading.done()
    assert fading.result(timeout=10) is None
    assert fading.done() and fading.exception() is None and not fading.cancelled()
    assert leds.getIntensity("FaceLedRight0") == [0.5] * 3


def test_waiting_may_end_before_the_future(leds):
    fading = leds.fade("FaceLeds", 0.5, 60)
    with pytest.raises(TimeoutError):
        fading.result(timeout=0.05)
    assert fading.running()
    fading.cancel()


def test_a_cancelled_future_ends_and_tells_so(leds):
    fading = leds.fade("FaceLeds", 0.5, 60)
    assert fading.cancel()
    with pytest.raises(tavro.Cancelled):
        fading.result(timeout=10)
    assert fading.cancelled() and fading.done() and not fading.cancel()
    with pytest.raises(concurrent.futures.CancelledError):
        fading.exception()


def test_many_are_waited_for_at_once(leds):
    fades = [leds.fade("FaceLeds", 0.5, 0.05 * step) for step in range(1, 9)]
    done, pending = concurrent.futures.wait(fades, timeout=10)
    assert len(done) == 8 and not pending


def test_an_error_before_the_return_surfaces_at_the_call(leds):
    with pytest.raises(tavro.InvalidArgument, match="Nose"):
        leds.fade("Nose", 0.5, 1)


def test_a_callback_may_call_the_robot(leds):
    called = concurrent.futures.Future()
    fading = leds.fade("FaceLeds", 1, 0.05)
    fading.add_done_callback(lambda done: called.set_result((done, leds.listGroups())))
    done, groups = called.result(timeout=10)
    assert done is fading and "FaceLeds" in groups


def test_a_future_with_a_callback_is_kept_though_nobody_holds_it(leds):
    called = threading.Event()
    leds.fade("FaceLeds", 1, 0.2).add_done_callback(lambda _: called.set())
    gc.collect()
    assert called.wait(timeout=10)


def test_dropped_futures_let_the_robot_go_on(leds):
    for _ in range(200):
        leds.fade("FaceLeds", 0.75, 0.1)
    gc.collect()
    assert eventually(lambda: leds.getIntensity("FaceLedRight0") == [0.75] * 3)


def test_futures_hold_no_threads(leds):
    before = threading.active_count()
    fades = [leds.fade("FaceLeds", 0.5, 60) for _ in range(100)]
    assert threading.active_count() <= before + 1
    for fade in fades:
        fade.cancel()
    concurrent.futures.wait(fades, timeout=10)


def test_a_blocking_call_is_cancelled_through_its_future(robot, leds):
    turning = leds.rotateEyes.start(0x00FF00, 0.1, 60)
    eventually(lambda: running(robot, "rotateEyes"))
    assert turning.cancel()
    turning.exception(timeout=10) if not turning.cancelled() else None
    assert eventually(lambda: not running(robot, "rotateEyes"))
    assert leds.getIntensity("FaceLedRight0") == [0, 0, 0]  # the eyes end dark


def test_a_started_call_runs_on_though_nobody_holds_its_future(robot, leds):
    leds.rotateEyes.start(0x00FF00, 0.1, 0.5)
    gc.collect()
    eventually(lambda: running(robot, "rotateEyes"))
    assert eventually(lambda: any(call.method == "rotateEyes" and not call.error
                                  and call.duration > 0.4 for call in robot.calls().ended))


def test_ctrl_c_stops_the_robots_method(robot, leds):
    assert threading.current_thread() is threading.main_thread()

    def interrupt():
        eventually(lambda: running(robot, "rotateEyes"))
        os.kill(os.getpid(), signal.SIGINT)
    threading.Thread(target=interrupt).start()
    with pytest.raises(KeyboardInterrupt):
        leds.rotateEyes(0x00FF00, 0.1, 60)
    assert eventually(lambda: not running(robot, "rotateEyes"))


def test_a_timeout_stops_the_robots_method(robot, leds):
    with pytest.raises(tavro.TimedOut):
        leds.rotateEyes(0x00FF00, 0.1, 60, timeout=0.2)
    assert eventually(lambda: not running(robot, "rotateEyes"))


def test_a_call_is_stopped_by_its_id_from_another_client(robot, leds):
    turning = leds.rotateEyes.start(0x00FF00, 0.1, 60)
    with Robot(robot.address) as other:
        call = eventually(lambda: running(other, "rotateEyes"))[0]
        assert (call.client, call.service) == ("python", "HBLeds")
        assert other.stop(call.id)
        concurrent.futures.wait([turning], timeout=10)
        assert turning.done() and not other.stop(call.id)


def test_closing_stops_what_was_begun(robot):
    other = Robot(robot.address)
    turning = other.service("HBLeds").rotateEyes.start(0x00FF00, 0.1, 60)
    eventually(lambda: running(robot, "rotateEyes"))
    other.close()
    with pytest.raises(tavro.Cancelled, match="was closed"):
        turning.result(timeout=10)
    assert eventually(lambda: not running(robot, "rotateEyes"))
    with pytest.raises(tavro.Cancelled, match="closed"):
        other.services()


def test_clients_that_wait_learn_of_a_killed_robot_and_find_it_again(tmp_path):
    address = f"unix:{tmp_path}/robot.sock"
    first = RobotProcess("vanto", socket=f"{tmp_path}/robot.sock")
    first.wait_until_ready()
    with Robot(address) as robot:
        leds = robot.service("HBLeds")
        fading, watch = leds.fade("FaceLeds", 1, 60), robot.watch("Face/*")
        turning = leds.rotateEyes.start(0x00FF00, 0.1, 60)
        next(watch)
        first.popen.kill()
        for future in (fading, turning):
            with pytest.raises(tavro.Unreachable, match="is gone"):
                future.result(timeout=10)
        with pytest.raises(tavro.Unreachable, match="is gone"):
            while True:
                next(watch)
        with pytest.raises(tavro.Unreachable):
            leds.on("FaceLeds")
        waiting = concurrent.futures.ThreadPoolExecutor(1)
        found = waiting.submit(robot.wait_until_ready, 20)
        with pytest.raises(concurrent.futures.TimeoutError):
            found.result(timeout=0.1)
        second = RobotProcess("vanto", socket=f"{tmp_path}/robot.sock")
        found.result(timeout=20)
        leds.on("FaceLeds")
        assert leds.getIntensity("FaceLedRight0") == [1, 1, 1]
        second.stop()
    first.stop()
