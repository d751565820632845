# SPDX-License-Identifier: Apache-2.0
# Input errors: the package raises InputError with the message the command
# prints after "fiberdecode: NAME: " (exit status 2), for files and for the
# same bytes in memory; and no input, random, truncated or oversized, does
# anything but decode or raise InputError.
import random

import pytest

import fiberdecode as fd
from conftest import INPUTS, SOURCE_DIR, same

SFP = (SOURCE_DIR / "samples/sfp-10g-sr.bin").read_bytes()
QSFP = (SOURCE_DIR / "samples/qsfp28-100g-sr4.bin").read_bytes()

# Bad dumps and the command's options for them.
BAD_INPUTS = [
    ("empty", b"", ()),
    ("not-hex", b"00 01 02 zz 04\n", ()),
    ("binary-as-hex", SFP, ("--format", "hex")),
    ("truncated", SFP[:200], ()),
    ("unknown-identifier", b"\x42" + bytes(255), ()),
    ("qsfp-without-page-00h", QSFP[:128], ()),
    ("too-large-image", b"\x03" + bytes(384 + 128 * 256 + 127), ("--format", "raw")),
    ("too-large-file", b"\n" * (4 * 1024 * 1024 + 1), ()),
]


@pytest.mark.parametrize("label,data,options", BAD_INPUTS, ids=[b[0] for b in BAD_INPUTS])
def test_input_errors_carry_the_command_message(command, tmp_path, label, data, options):
    path = tmp_path / label
    path.write_bytes(data)
    done = command.run(*options, str(path))
    assert done.returncode == 2
    prefix = f"fiberdecode: {path}: "
    line = done.stderr.decode().rstrip("\n")
    assert line.startswith(prefix)
    message = line[len(prefix):]
    keywords = dict(zip(options[::2], options[1::2]))
    keywords = {key.lstrip("-"): value for key, value in keywords.items()}
    with pytest.raises(fd.InputError) as error:
        fd.decode_file(path, **keywords)
    assert (str(error.value), error.value.message, error.value.name) == (message, message, str(path))
    assert isinstance(error.value, ValueError)
    with pytest.raises(fd.InputError) as error:
        fd.decode_bytes(data, name="port 7", **keywords)
    assert (str(error.value), error.value.name) == (message, "port 7")


def test_missing_file_and_argument_errors(tmp_path):
    with pytest.raises(fd.InputError, match="^cannot open: No such file or directory$"):
        fd.decode_file(tmp_path / "absent.bin")
    with pytest.raises(ValueError, match="embedded null byte"):
        fd.decode_file(str(SOURCE_DIR / "samples/sfp-10g-sr.bin") + "\0.hex")
    with pytest.raises(ValueError, match=r"unknown format 'pages' \(auto, raw, optoe, hex\)"):
        fd.decode_bytes(SFP, format="pages")
    with pytest.raises(ValueError, match="unknown module kind 'sff'"):
        fd.decode_bytes(SFP, kind="sff")
    with pytest.raises(TypeError, match="must be bytes-like"):
        fd.decode_bytes(12)
    # Hex text may be given as str.
    hex_text = (SOURCE_DIR / "samples/sfp-10g-sr.hex").read_text()
    same(fd.decode_bytes(hex_text).to_dict(), fd.decode_bytes(hex_text.encode()).to_dict())


def decode_or_input_error(data, **keywords):
    try:
        module = fd.decode_bytes(data, **keywords)
    except fd.InputError as error:
        assert str(error)
        return None
    module.to_dict(), module.report(), module.to_json()
    for key in module.keys():
        getattr(module, key)
    return module


def test_random_inputs_never_crash():
    rng = random.Random(20240611)
    sizes = [1, 2, 127, 128, 129, 255, 256, 384, 512, 640, 1024, 32896]
    kinds = ["auto", "sfp", "xfp", "qsfp", "cmis"]
    formats = ["auto", "raw", "optoe", "hex"]
    decoded = 0
    for i in range(600):
        size = rng.choice(sizes) if i % 2 else rng.randrange(0, 1200)
        data = bytearray(rng.getrandbits(8) for _ in range(size))
        if data and i % 3 == 0:
            data[0] = rng.choice([0x03, 0x06, 0x0C, 0x0D, 0x11, 0x18, 0x19, 0x1E])  # known identifiers
        if i % 7 == 0:  # text that looks like a hex dump with damage
            data = " ".join(f"{b:02x}" for b in data).encode()[: rng.randrange(1, 4000)]
        module = decode_or_input_error(bytes(data), format=rng.choice(formats), kind=rng.choice(kinds))
        decoded += module is not None
    assert decoded > 50  # random memory with a known identifier decodes (mostly to nothing useful)


@pytest.mark.parametrize("path", [p for p in INPUTS if p.suffix != ".bin"][:6] +
                         [p for p in INPUTS if p.suffix == ".bin"], ids=lambda p: p.parent.name + "/" + p.name)
def test_truncated_and_extended_modules(path):
    data = path.read_bytes()
    for size in sorted({0, 1, 127, 128, 129, 255, 256, 257, 383, 384, 511, 640, len(data) - 1, len(data) // 2}):
        if 0 <= size < len(data):
            decode_or_input_error(data[:size])
    decode_or_input_error(data + bytes(128))
    decode_or_input_error(data + b"\xff" * 100)
