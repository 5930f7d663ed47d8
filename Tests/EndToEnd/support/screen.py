"""What is on a display, read from the file that Xvfb keeps of it."""

import struct


class Picture:
    """The whole screen as it is now."""

    def __init__(self, file):
        data = file.read_bytes()
        header = struct.unpack(">25I", data[:100])
        self.width, self.height, self._line = header[4], header[5], header[12]
        entries = header[19]
        self._pixels = memoryview(data)[header[0] + 12 * entries:]

    def part(self, place):
        """The pixels of a rectangle, for comparing; what is beyond the screen is left out."""
        left, top, width, height = place
        right, bottom = min(left + width, self.width), min(top + height, self.height)
        left, top = max(left, 0), max(top, 0)
        return [bytes(self._pixels[y * self._line + 4 * left:y * self._line + 4 * right]) for y in range(top, bottom)]
