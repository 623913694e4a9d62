"""A bad network between a device and a server: a TCP proxy whose faults are switched on and off while it runs."""

import asyncio
import random
import threading

CHUNK = 65536


class Loop:
    """One thread that carries the bytes of all networks."""

    def __init__(self):
        self.loop = asyncio.new_event_loop()
        threading.Thread(target=self.loop.run_forever, daemon=True).start()

    def run(self, coroutine):
        return asyncio.run_coroutine_threadsafe(coroutine, self.loop).result(30)


class Line:
    """One connection of a device and what belongs to it on the server's side."""

    def __init__(self, device):
        self.writers = [device]
        self.dead = False
        self.left = None

    def abort(self):
        for writer in self.writers:
            writer.transport.abort()


class Network:
    """Modes: open; refuse (no connection comes up); silent (everything vanishes, also on what is open, and stays so:
    a half-open connection); deaf (requests arrive, answers do not); torn (breaks in the middle of the bytes); slow."""

    MODES = ("refuse", "silent", "deaf", "torn", "slow")

    def __init__(self, loop, target, seed):
        self.loop, self.target, self.mode = loop, target, "open"
        self.chance = random.Random(seed)
        self.lines = set()
        self.carried = 0
        self.port = loop.run(self._listen())

    def cut(self):
        """Every open connection ends with a reset."""
        self.loop.run(self._cut())

    def heal(self):
        """Open again. What was half-open ends or, as often, stays as it is: the device has to notice by itself."""
        self.mode = "open"
        if self.chance.random() < 0.5:
            self.loop.run(self._cut(dead_only=True))

    async def _listen(self):
        server = await asyncio.start_server(self._carry, "127.0.0.1", 0)
        return server.sockets[0].getsockname()[1]

    async def _cut(self, dead_only=False):
        for line in list(self.lines):
            if line.dead or not dead_only:
                line.abort()

    async def _carry(self, reader, writer):
        line = Line(writer)
        if self.mode == "refuse":
            line.abort()
            return
        if self.mode == "torn":
            line.left = self.chance.randrange(200, 8000)
        self.lines.add(line)
        try:
            from_server, to_server = await asyncio.open_connection("127.0.0.1", self.target)
            line.writers.append(to_server)
            await asyncio.gather(self._pump(line, reader, to_server, False),
                                 self._pump(line, from_server, writer, True))
        except OSError:
            pass
        finally:
            line.abort()
            self.lines.discard(line)

    async def _pump(self, line, reader, writer, is_answer):
        while data := await reader.read(CHUNK):
            if self.mode == "silent" or (self.mode == "deaf" and is_answer):
                line.dead = True
            if line.dead and (is_answer or self.mode != "deaf"):
                continue
            if self.mode == "slow":
                await asyncio.sleep(self.chance.uniform(0.01, 0.3))
            if line.left is not None:
                data, line.left = data[:line.left], line.left - len(data)
                if line.left <= 0:
                    writer.write(data)
                    raise ConnectionResetError
            self.carried += len(data)
            writer.write(data)
            await writer.drain()
        if not line.dead and writer.can_write_eof():
            writer.write_eof()
