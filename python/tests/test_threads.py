# SPDX-License-Identifier: Apache-2.0
# Threads: the GIL is released while a module is read and decoded, and
# threads decoding at once get the results one thread gets.
import errno
import os
import subprocess
import sys
import threading
import time

import fiberdecode as fd
from conftest import INPUTS, SOURCE_DIR


def test_threads_decoding_at_once_get_the_single_thread_results():
    binaries = [p.read_bytes() for p in INPUTS if p.suffix == ".bin"]
    lowers = {}
    for data in binaries:
        module = fd.decode_bytes(data)
        if module.kind in (fd.Kind.QSFP, fd.Kind.CMIS) and len(data) >= 256:
            lowers[data] = (module.kind, data[:128], {0: data[128:256]})
    expected = [fd.decode_bytes(data).to_dict() for data in binaries]
    expected_pages = {data: fd.decode_pages(*args).to_dict() for data, args in lowers.items()}
    failures = []
    start = threading.Barrier(8)

    def work(offset):
        start.wait()
        for round in range(15):
            for i in range(len(binaries)):
                j = (i + offset + round) % len(binaries)
                if fd.decode_bytes(binaries[j]).to_dict() != expected[j]:
                    failures.append(("bytes", j))
                if binaries[j] in lowers and fd.decode_pages(*lowers[binaries[j]]).to_dict() != expected_pages[binaries[j]]:
                    failures.append(("pages", j))

    threads = [threading.Thread(target=work, args=(k,)) for k in range(8)]
    for t in threads:
        t.start()
    for t in threads:
        t.join()
    assert failures == []


def read_fifo_while(decode, fifo, data):
    """Runs decode(fifo) on a thread and writes DATA into FIFO from this one
    as soon as the decoding thread has it open; returns what decode gave."""
    result = []
    reader = threading.Thread(target=lambda: result.append(decode(fifo)))
    reader.start()
    deadline = time.monotonic() + 30
    writer = None
    while writer is None and reader.is_alive() and time.monotonic() < deadline:
        try:
            writer = os.open(fifo, os.O_WRONLY | os.O_NONBLOCK)  # ENXIO until the reader opens it
        except OSError as error:
            assert error.errno == errno.ENXIO
            time.sleep(0.01)
    if writer is not None:
        os.set_blocking(writer, True)
        os.write(writer, data)
        os.close(writer)
    reader.join(timeout=30)
    assert not reader.is_alive()
    return result[0]


def test_the_gil_is_released_while_a_file_is_read(tmp_path):
    # The decoding thread blocks opening a FIFO; this thread can write the
    # module into it only while the decoding thread does not hold the GIL.
    # Should it hold the GIL, a helper process writes another module after
    # some seconds instead, and the decoding thread returns that one.
    fifo = tmp_path / "module.fifo"
    os.mkfifo(fifo)
    ours, fallback = SOURCE_DIR / "samples/sfp-10g-sr.bin", SOURCE_DIR / "samples/qsfp28-100g-sr4.bin"
    helper = subprocess.Popen([sys.executable, "-c",
                               "import shutil, sys, time; time.sleep(5); "
                               "shutil.copyfile(sys.argv[1], sys.argv[2])", str(fallback), str(fifo)])
    try:
        assert read_fifo_while(fd.decode_file, fifo, ours.read_bytes()).kind == fd.Kind.SFP
    finally:
        helper.kill()
        helper.wait()
