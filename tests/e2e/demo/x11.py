"""What the demonstration asks of the X server, without starting a program for each question."""

import ctypes
import ctypes.util
import struct
import zlib

X = ctypes.CDLL(ctypes.util.find_library("X11") or "libX11.so.6")
Z_PIXMAP = 2
ALL_PLANES = 0xFFFFFFFF


class Image(ctypes.Structure):
    """The head of XImage; the rest is not read."""

    _fields_ = [
        ("width", ctypes.c_int), ("height", ctypes.c_int), ("xoffset", ctypes.c_int), ("format", ctypes.c_int),
        ("data", ctypes.POINTER(ctypes.c_char)), ("byte_order", ctypes.c_int), ("bitmap_unit", ctypes.c_int),
        ("bitmap_bit_order", ctypes.c_int), ("bitmap_pad", ctypes.c_int), ("depth", ctypes.c_int),
        ("bytes_per_line", ctypes.c_int), ("bits_per_pixel", ctypes.c_int),
    ]


X.XOpenDisplay.restype = ctypes.c_void_p
X.XDefaultRootWindow.argtypes = [ctypes.c_void_p]
X.XDefaultRootWindow.restype = ctypes.c_ulong
X.XInternAtom.argtypes = [ctypes.c_void_p, ctypes.c_char_p, ctypes.c_int]
X.XInternAtom.restype = ctypes.c_ulong
X.XDisplayWidth.argtypes = X.XDisplayHeight.argtypes = [ctypes.c_void_p, ctypes.c_int]
X.XGetImage.argtypes = [ctypes.c_void_p, ctypes.c_ulong, ctypes.c_int, ctypes.c_int, ctypes.c_uint, ctypes.c_uint,
                        ctypes.c_ulong, ctypes.c_int]
X.XGetImage.restype = ctypes.POINTER(Image)
X.XDestroyImage.argtypes = [ctypes.POINTER(Image)]
X.XFree.argtypes = [ctypes.c_void_p]
X.XGetInputFocus.argtypes = [ctypes.c_void_p, ctypes.POINTER(ctypes.c_ulong), ctypes.POINTER(ctypes.c_int)]
X.XGetWindowProperty.argtypes = [
    ctypes.c_void_p, ctypes.c_ulong, ctypes.c_ulong, ctypes.c_long, ctypes.c_long, ctypes.c_int, ctypes.c_ulong,
    ctypes.POINTER(ctypes.c_ulong), ctypes.POINTER(ctypes.c_int), ctypes.POINTER(ctypes.c_ulong),
    ctypes.POINTER(ctypes.c_ulong), ctypes.POINTER(ctypes.c_void_p)]
X.XQueryTree.argtypes = [
    ctypes.c_void_p, ctypes.c_ulong, ctypes.POINTER(ctypes.c_ulong), ctypes.POINTER(ctypes.c_ulong),
    ctypes.POINTER(ctypes.POINTER(ctypes.c_ulong)), ctypes.POINTER(ctypes.c_uint)]


class Display:
    """One connection; used from one thread."""

    def __init__(self):
        self.display = X.XOpenDisplay(None)
        if not self.display:
            raise OSError("the display cannot be opened")
        self.root = X.XDefaultRootWindow(self.display)
        self.active = X.XInternAtom(self.display, b"_NET_ACTIVE_WINDOW", 0)

    def active_window(self):
        """The window that the window manager calls active, 0 when none."""
        kind, size, count, left = ctypes.c_ulong(), ctypes.c_int(), ctypes.c_ulong(), ctypes.c_ulong()
        data = ctypes.c_void_p()
        X.XGetWindowProperty(self.display, self.root, self.active, 0, 1, 0, 0, ctypes.byref(kind), ctypes.byref(size),
                             ctypes.byref(count), ctypes.byref(left), ctypes.byref(data))
        if not data:
            return 0
        value = ctypes.cast(data, ctypes.POINTER(ctypes.c_ulong))[0] if count.value else 0
        X.XFree(data)
        return value

    def focused_window(self):
        """The window that keys go to."""
        window, revert = ctypes.c_ulong(), ctypes.c_int()
        X.XGetInputFocus(self.display, ctypes.byref(window), ctypes.byref(revert))
        return window.value

    def children(self, window):
        """The windows directly within one."""
        root, parent, count = ctypes.c_ulong(), ctypes.c_ulong(), ctypes.c_uint()
        data = ctypes.POINTER(ctypes.c_ulong)()
        if not X.XQueryTree(self.display, window, ctypes.byref(root), ctypes.byref(parent), ctypes.byref(data),
                            ctypes.byref(count)):
            return []
        found = [data[index] for index in range(count.value)]
        if found:
            X.XFree(data)
        return found

    def picture(self):
        """The screen as (width, height, bytes of four a pixel)."""
        width, height = X.XDisplayWidth(self.display, 0), X.XDisplayHeight(self.display, 0)
        image = X.XGetImage(self.display, self.root, 0, 0, width, height, ALL_PLANES, Z_PIXMAP)
        if not image:
            raise OSError("no picture of the screen")
        head = image.contents
        data = ctypes.string_at(head.data, head.bytes_per_line * head.height)
        X.XDestroyImage(image)
        return width, height, data


def save_png(picture, path):
    """Writes a picture of Display.picture()."""
    width, height, data = picture
    rgb = bytearray(width * height * 3)
    rgb[0::3], rgb[1::3], rgb[2::3] = data[2::4], data[1::4], data[0::4]
    rows = b"".join(b"\0" + rgb[at:at + width * 3] for at in range(0, len(rgb), width * 3))

    def chunk(name, body):
        return struct.pack(">I", len(body)) + name + body + struct.pack(">I", zlib.crc32(name + body))

    with open(path, "wb") as file:
        file.write(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)) +
                   chunk(b"IDAT", zlib.compress(rows, 6)) + chunk(b"IEND", b""))
