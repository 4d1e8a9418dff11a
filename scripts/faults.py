# Works faults of drivers and panels into the cards of 320x180 in the current folder, and writes what they show.

import hashlib
import pathlib

NOISE = [byte & 0xf0 for byte in hashlib.shake_128().digest(320 * 180)]  # the same in every Python

# From a pixel's number, counted from the top left, and its bytes in the card: the bytes that show instead. The name
# ends in the card's format.
FAULTS = {
    "alpha-ignored.ARGB8888": lambda p, b, g, r, a: (b, g, r, 255),
    "alpha-one-bit.ARGB8888": lambda p, b, g, r, a: (b, g, r, a // 128 * 255),
    "alpha-inverted.ARGB8888": lambda p, b, g, r, a: (b, g, r, 255 - a),
    "alpha-none.ARGB8888": lambda p, b, g, r, a: (b, g, r, 0),
    "bytes-reversed.ARGB8888": lambda p, b, g, r, a: (a, r, g, b),
    "bytes-reversed-565.RGB565": lambda p, lo, hi: (hi, lo),
    "565-as-1555.RGB565": lambda p, lo, hi: (lo & 0x1f | lo << 1 & 0xc0 | hi << 4 & 0x20, hi << 1 & 0xff | lo >> 7),
    "padded.RGB888": lambda p, *_: memory[p * 3 + p // 320 * 64:p * 3 + p // 320 * 64 + 3].ljust(3, b"\0"),
    "red-blue.RGB888": lambda p, b, g, r: (r, g, b),
    "pink-green.RGB888": lambda p, b, g, r: (128 + b / 2 - g / 3 - r / 6, (b + 6 * g + 3 * r) / 10, 128 + (r - g) / 2),
    "range-cut.RGB888": lambda p, *colours: [min(max(colour - 16, 0) * 255 / 219, 255) for colour in colours],
    "range-squeezed.RGB888": lambda p, *colours: [16 + colour * 219 / 255 for colour in colours],
    "lvds-jeida.RGB888": lambda p, *colours: [colour >> 2 | colour << 6 & 0xff for colour in colours],
    "lvds-vesa.RGB888": lambda p, *colours: [colour << 2 & 0xff | colour >> 6 for colour in colours],
    "stuck-bit.RGB888": lambda p, b, g, r: (b, g, r & 0x7f),
    "odd-even.RGB888": lambda p, *_: card[p ^ 1],
    "mirrored.RGB888": lambda p, *_: card[p + 319 - p % 320 * 2],
    "turned.RGB888": lambda p, *_: card[-1 - p],
    "shifted.RGB888": lambda p, *_: card[p - 15 * 320 - 40],
    "late-rows.RGB888": lambda p, *_: card[p - max(NOISE[p // 1600] - 150, 0)],
    "first-page.RGB888": lambda p, *colours: colours if p < 4096 / 3 else (NOISE[p], NOISE[-p], NOISE[p // 2]),
    "cache-lines.RGB888": lambda p, *colours: colours if NOISE[p * 3 // 64] >= (p / 11000) ** 3 else (0, 0, 0),
}

for name, shown in FAULTS.items():
    memory = pathlib.Path("card" + pathlib.Path(name).suffix).read_bytes()
    size = len(memory) // (320 * 180)
    card = [memory[place:place + size] for place in range(0, len(memory), size)]
    values = (int(value) for number, pixel in enumerate(card) for value in shown(number, *pixel))
    pathlib.Path("wrong-" + name).write_bytes(bytes(values))
