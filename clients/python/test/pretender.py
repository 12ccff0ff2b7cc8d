"""A robot that only pretends: it says what a test tells it to say, and remembers what it heard."""
import concurrent.futures
import contextlib
import queue

import grpc

from tavro.v1 import robot_pb2 as wire
from tavro.v1 import robot_pb2_grpc


class Pretender(robot_pb2_grpc.RobotServicer):
    """A robot that answers the first question as it is told, and remembers what it was told."""

    def __init__(self, reply=None, refusal=None):
        self.reply = reply or wire.GetInfoReply(protocol_major=1)
        self.refusal = refusal
        self.metadata = {}

    def DescribeService(self, request, context):
        """A service with one method, `do() -> future<value>`."""
        result = wire.Type(kind=wire.Type.KIND_FUTURE, element=wire.Type(kind=wire.Type.KIND_VALUE))
        method = wire.Method(name="do", signature=wire.Signature(result=result))
        return wire.DescribeServiceReply(service=request.service, methods=[method])

    def GetInfo(self, request, context):
        self.metadata = dict(context.invocation_metadata())
        if self.refusal:
            context.abort(*self.refusal)
        return self.reply


@contextlib.contextmanager
def pretending(robot, add=robot_pb2_grpc.add_RobotServicer_to_server):
    """The address at which it answers."""
    server = grpc.server(concurrent.futures.ThreadPoolExecutor(2))
    if robot is not None:
        add(robot, server)
    port = server.add_insecure_port("127.0.0.1:0")
    server.start()
    try:
        yield f"127.0.0.1:{port}"
    finally:
        server.stop(None)


class Talk:
    """One stream from the robot's side: `say` and `heard`, until either end has had enough."""

    def __init__(self):
        self._said = queue.Queue()
        self.heard = queue.Queue()
        self.is_gone = concurrent.futures.Future()

    def say(self, message):
        self._said.put(message)

    def end(self):
        self._said.put(None)

    def serve(self, requests, context):
        context.add_callback(lambda: self._gone())
        concurrent.futures.ThreadPoolExecutor(1).submit(self._listen, requests)
        return iter(self._said.get, None)

    def _listen(self, requests):
        with contextlib.suppress(Exception):  # the stream ended
            for request in requests:
                self.heard.put(request)

    def _gone(self):
        self.is_gone.set_result(True)
        self.end()


class Talker(Pretender):
    """Answers `Start`, `Lend` and `Watch` by a talk that the test leads."""

    def __init__(self):
        super().__init__()
        self.talks = queue.Queue()

    def Start(self, requests, context):
        return self._talk().serve(requests, context)

    Lend = Start

    def Watch(self, request, context):
        return self._talk().serve(iter([request]), context)

    def _talk(self):
        self.talks.put(talk := Talk())
        return talk
