"""The asyncio twin."""
import asyncio
import contextlib

import pytest

import tavro
from tavro import aio


def runs(test):
    """Runs a coroutine as a test, with the shared robot's address."""
    def run(robot):
        asyncio.run(asyncio.wait_for(test(robot.address), 60))
    run.__doc__ = test.__doc__
    return run


async def until(holds):
    """Waits until `await holds()` is true."""
    while not await holds():
        await asyncio.sleep(0.005)


async def is_running(robot, method):
    return any(call.method == method for call in (await robot.calls()).running)


@runs
async def test_methods_are_awaited(address):
    async with aio.Robot(address) as robot:
        leds = await robot.service("HBLeds")
        await leds.setIntensity("FaceLedRight0", 0.5)
        assert await leds.getIntensity("FaceLedRight0") == [0.5] * 3
        assert (await robot.info()).name == "Vanto"
        assert "HBLeds" in await robot.services()
        assert len(await robot.values("Face/*")) == 48


@runs
async def test_a_future_is_awaited(address):
    robot = await aio.Robot(address)
    leds = await robot.service("HBLeds")
    fading = await leds.fade("FaceLeds", 1, 0.1)
    with pytest.raises(asyncio.InvalidStateError):
        fading.result()
    assert await fading is None
    assert fading.done() and fading.result() is None and fading.exception() is None
    await robot.close()


@runs
async def test_futures_are_gathered(address):
    async with aio.Robot(address) as robot:
        leds = await robot.service("HBLeds")
        fades = [await leds.fade("FaceLeds", 1, 0.05) for _ in range(8)]
        assert await asyncio.gather(*fades) == [None] * 8


@runs
async def test_a_future_is_cancelled(address):
    async with aio.Robot(address) as robot:
        leds = await robot.service("HBLeds")
        fading = await leds.fade("FaceLeds", 1, 60)
        assert fading.cancel()
        with pytest.raises((tavro.Cancelled, asyncio.CancelledError)):
            await fading
        assert fading.cancelled()


@runs
async def test_cancelling_the_task_stops_the_robots_method(address):
    async with aio.Robot(address) as robot:
        leds = await robot.service("HBLeds")
        turning = asyncio.create_task(leds.rotateEyes(255, 0.1, 60))
        await until(lambda: is_running(robot, "rotateEyes"))
        turning.cancel()
        with pytest.raises(asyncio.CancelledError):
            await turning

        async def has_ended():
            return not await is_running(robot, "rotateEyes")
        await until(has_ended)


@runs
async def test_a_started_call_is_stopped_through_its_future(address):
    async with aio.Robot(address) as robot:
        leds = await robot.service("HBLeds")
        turning = await leds.rotateEyes.start(255, 0.1, 60)
        await until(lambda: is_running(robot, "rotateEyes"))
        turning.cancel()
        with contextlib.suppress(tavro.Cancelled, asyncio.CancelledError):
            await turning


@runs
async def test_errors_are_those_of_the_package(address):
    async with aio.Robot(address) as robot:
        leds = await robot.service("HBLeds")
        with pytest.raises(tavro.InvalidArgument, match="Nose"):
            await leds.on("Nose")
        with pytest.raises(TypeError, match="name must be a str"):
            await leds.on(1)
        with pytest.raises(tavro.TimedOut):
            await leds.rotateEyes(255, 0.1, 60, timeout=0.1)
        with pytest.raises(tavro.NoSuchService):
            await robot.service("Nobody")


@runs
async def test_changes_are_iterated(address):
    async with aio.Robot(address) as robot:
        leds = await robot.service("HBLeds")
        await leds.off("FaceLeds")
        seen = []
        watch = robot.watch("Face/Led/Red/Left/0Deg/*")
        async for changes in watch:
            seen += changes.values()
            if len(seen) == 2:
                break
            await leds.on("FaceLeds")
        assert seen == [0.0, 1.0]
        watch.close()


class Greeter:
    """Greets people."""

    async def greet(self, name: str) -> str:
        """Greets somebody."""
        await asyncio.sleep(0.01)
        return f"hello {name}"


@runs
async def test_an_object_with_coroutines_is_lent(address):
    async with aio.Robot(address) as robot, await robot.lend("Greeter", Greeter()) as lent:
        greeter = await robot.service("Greeter")
        assert await greeter.greet("world") == "hello world"
        await lent.close()
        assert not lent.is_standing
        await lent.wait()


@runs
async def test_the_blocking_robot_is_not_blocked_by_it(address):
    async with aio.Robot(address) as robot:
        leds = await robot.service("HBLeds")
        turning = asyncio.create_task(leds.rotateEyes(255, 0.1, 0.3))
        with tavro.Robot(address) as other:
            assert other.service("HBLeds").listGroups() == await leds.listGroups()
        await turning
