"""A browser's part of the robot's page: its WebSocket, blocking, ten seconds at most."""
import json

import websocket

import tavro
from tavro import errors


class Page:
    def __init__(self, url):
        self._socket = websocket.create_connection(url.replace("http", "ws", 1) + "/socket", timeout=10)
        self._number = 0
        self._answers = {}

    def begin(self, operation, **fields):
        """Asks without waiting; returns the request's number."""
        self._number += 1
        self._send({"id": self._number, "op": operation, **fields})
        return self._number

    def ask(self, operation, **fields):
        """Errors: `tavro.RobotError` with the robot's text."""
        return self.answer_to(self.begin(operation, **fields))

    def answer_to(self, number):
        """The last word on a request; what comes meanwhile is taken in."""
        while number not in self._answers:
            self._take(json.loads(self._socket.recv()))
        answer = self._answers.pop(number)
        if "error" in answer:
            kind, text = answer["error"]["kind"], answer["error"]["text"]
            raise tavro.Refused(text) if kind == "refused" else errors.failure(kind, text)
        return answer

    def close(self):
        self._socket.close()

    def _take(self, message):
        if "id" in message:
            if not message.get("future"):  # its end is told later
                self._answers[message["id"]] = message
        elif message.get("event") == "frame":
            self._send({"op": "seen", "frame": message["frame"]})
        elif message.get("event") == "goodbye":
            raise tavro.Unreachable(message["text"])

    def _send(self, message):
        self._socket.send(json.dumps(message))
