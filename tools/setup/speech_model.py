#!/usr/bin/env python3
"""Rewrites the speech model so that its weights are made ready once and not for every token.

    speech_model.py FOLDER

The packaged model keeps its weights as bytes and turns them into numbers by three steps of its graph (cast, multiply,
add), which the engine carries out again whenever the graph runs: once for every token of the text, two thirds of all
its time. Here they are carried out beforehand, in the same arithmetic, so that the text stays the same. Each FILE.ort
in FOLDER becomes FILE.onnx with its weights in FILE.data beside it, which the engine maps instead of reading.
"""

import os
import struct
import sys

FLOAT, INT8 = 1, 3
GRAPH = 5


class Table:
    """A table of a flat buffer; its fields are found by their number."""

    def __init__(self, data, at):
        self.data, self.at = data, at
        self.fields = at - self.number("i", at)
        self.size = self.number("H", self.fields)

    def number(self, kind, at):
        return struct.unpack_from("<" + kind, self.data, at)[0]

    def place(self, field):
        """Where the field lies, None when it has its default."""
        entry = 4 + 2 * field
        offset = self.number("H", self.fields + entry) if entry < self.size else 0
        return self.at + offset if offset else None

    def scalar(self, field, kind):
        at = self.place(field)
        return 0 if at is None else self.number(kind, at)

    def follow(self, at):
        return at + self.number("I", at)

    def table(self, field):
        at = self.place(field)
        return None if at is None else Table(self.data, self.follow(at))

    def vector(self, field):
        """Begin and length."""
        at = self.place(field)
        if at is None:
            return 0, 0
        at = self.follow(at)
        return at + 4, self.number("I", at)

    def bytes(self, field):
        begin, length = self.vector(field)
        return self.data[begin:begin + length]

    def scalars(self, field, kind):
        begin, length = self.vector(field)
        return list(struct.unpack_from(f"<{length}{kind}", self.data, begin))

    def tables(self, field):
        begin, length = self.vector(field)
        return [Table(self.data, self.follow(begin + 4 * each)) for each in range(length)]

    def texts(self, field):
        begin, length = self.vector(field)
        found = []
        for each in range(length):
            at = self.follow(begin + 4 * each)
            found.append(self.data[at + 4:at + 4 + self.number("I", at)])
        return found


# --- messages as the ONNX file has them: each field is its number, how it is written, and its value ----------------


def varint(value):
    value &= (1 << 64) - 1
    out = bytearray()
    while value > 127:
        out.append(value & 127 | 128)
        value >>= 7
    out.append(value)
    return bytes(out)


def whole(field, value):
    return varint(field << 3) + varint(value)


def real(field, value):
    return varint(field << 3 | 5) + struct.pack("<f", value)


def block(field, value):
    return varint(field << 3 | 2) + varint(len(value)) + value


class Rewriter:
    """One model; `weights` collects what goes into the file beside it."""

    def __init__(self, data, weights, weights_name):
        if data[4:8] != b"ORTM":
            raise SystemExit("speech_model.py: this is no model of the kind that was pinned")
        self.model = Table(data, Table(data, 0).follow(0)).table(1)
        self.weights = weights
        self.weights_name = weights_name.encode()
        self.branches = 0

    def rewritten(self):
        model = self.model
        out = whole(1, model.scalar(0, "q"))
        out += block(7, self.graph(model.table(7), b"main"))
        for one in model.tables(1):
            out += block(8, block(1, one.bytes(0)) + whole(2, one.scalar(1, "q")))
        return out

    def graph(self, graph, name):
        kept = {tensor.bytes(0): tensor for tensor in graph.tables(0)}
        nodes = {output: node for node in graph.tables(2) for output in node.texts(9)}
        ready, dropped, used_up = [], set(), set()
        for output, add in nodes.items():
            chain = self.chain(add, nodes, kept)
            if chain:
                ready.append(self.made_ready(output, *(kept[each] for each in chain[1])))
                dropped.update(chain[0])
                used_up.update(chain[1])
        out = b""
        for node in graph.tables(2):
            if node.texts(9)[0] not in dropped:
                out += block(1, self.node(node))
        out += block(2, name)
        for each in ready:
            out += block(5, each)
        for key, tensor in kept.items():
            if key not in used_up:
                out += block(5, self.tensor(tensor))
        types = {each.bytes(0): each for each in graph.tables(1)}
        for field, names in ((11, graph.texts(5)), (12, graph.texts(6))):
            for each in names:
                out += block(field, self.value(types[each]))
        return out

    @staticmethod
    def chain(add, nodes, kept):
        """The outputs of cast, multiply and add, and the names of bytes, scale and shift; None for another node."""
        if add.bytes(5) != b"Add":
            return None
        product, shift = add.texts(8)
        multiply = nodes.get(product)
        if multiply is None or multiply.bytes(5) != b"Mul" or shift not in kept:
            return None
        number, scale = multiply.texts(8)
        cast = nodes.get(number)
        if cast is None or cast.bytes(5) != b"Cast" or scale not in kept or cast.texts(8)[0] not in kept:
            return None
        return (number, product, add.texts(9)[0]), (cast.texts(8)[0], scale, shift)

    def made_ready(self, name, stored, scale, shift):
        if stored.scalar(3, "i") != INT8 or scale.scalar(3, "i") != FLOAT:
            raise SystemExit("speech_model.py: weights of an unknown kind")
        (factor,), (base,) = (struct.unpack("<f", each.bytes(4)) for each in (scale, shift))
        rounded = lambda value: struct.unpack("<f", struct.pack("<f", value))[0]
        numbers = [struct.pack("<f", rounded(rounded((each ^ 128) - 128) * factor) + base) for each in range(256)]
        data = stored.bytes(4)
        made = bytearray(4 * len(data))
        for byte in range(4):
            made[byte::4] = data.translate(bytes(number[byte] for number in numbers))
        self.weights.write(b"\0" * (-self.weights.tell() % 4096))
        entries = {b"location": self.weights_name, b"offset": b"%d" % self.weights.tell(), b"length": b"%d" % len(made)}
        self.weights.write(made)
        out = b"".join(whole(1, each) for each in stored.scalars(2, "q")) + whole(2, FLOAT) + block(8, name)
        for key, value in entries.items():
            out += block(13, block(1, key) + block(2, value))
        return out + whole(14, 1)

    def node(self, node):
        out = b"".join(block(1, each) for each in node.texts(8)) + b"".join(block(2, each) for each in node.texts(9))
        out += block(3, node.bytes(0)) + block(4, node.bytes(5))
        for each in node.tables(10):
            out += block(5, self.attribute(each))
        return out + block(7, node.bytes(2))

    def attribute(self, one):
        kind = one.scalar(2, "i")
        out = block(1, one.bytes(0)) + whole(20, kind)
        if kind == GRAPH:
            self.branches += 1
            return out + block(6, self.graph(one.table(7), b"branch%d" % self.branches))
        written = {
            1: lambda: real(2, one.scalar(3, "f")),
            2: lambda: whole(3, one.scalar(4, "q")),
            3: lambda: block(4, one.bytes(5)),
            4: lambda: block(5, self.tensor(one.table(6))),
            6: lambda: b"".join(real(7, each) for each in one.scalars(8, "f")),
            7: lambda: b"".join(whole(8, each) for each in one.scalars(9, "q")),
            8: lambda: b"".join(block(9, each) for each in one.texts(10)),
        }
        if kind not in written:
            raise SystemExit(f"speech_model.py: an attribute of kind {kind}")
        return out + written[kind]()

    @staticmethod
    def tensor(one):
        out = b"".join(whole(1, each) for each in one.scalars(2, "q"))
        return out + whole(2, one.scalar(3, "i")) + block(8, one.bytes(0)) + block(9, one.bytes(4))

    @staticmethod
    def value(one):
        out = block(1, one.bytes(0))
        kind = one.table(2)
        tensor = kind.table(2) if kind else None
        if tensor is None:
            return out
        shape = tensor.table(1)
        dims = b""
        for each in shape.tables(0) if shape else []:
            size = each.table(0)
            known = size.scalar(0, "b") if size else 0
            dims += block(1, whole(1, size.scalar(1, "q")) if known == 1 else block(2, size.bytes(2)) if known else b"")
        inner = whole(1, tensor.scalar(0, "i")) + (block(2, dims) if shape else b"")
        return out + block(2, block(1, inner))


def main():
    folder = sys.argv[1]
    for name in sorted(os.listdir(folder)):
        stem, extension = os.path.splitext(name)
        if extension != ".ort":
            continue
        path = os.path.join(folder, name)
        with open(path, "rb") as file:
            data = file.read()
        with open(os.path.join(folder, stem + ".data"), "wb") as weights:
            model = Rewriter(data, weights, stem + ".data").rewritten()
        with open(os.path.join(folder, stem + ".onnx"), "wb") as file:
            file.write(model)
        os.remove(path)


if __name__ == "__main__":
    main()
