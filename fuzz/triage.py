"""Sorts the findings of a fuzz run into the library's own defects and those
of libhdf5, by replaying each one and reading the sanitizer's report.

    python fuzz/triage.py FUZZ_TARGET FINDINGS_DIR

A finding is the library's ("ours") when the fault lies in its code or the
target's (the top frame is one of ours), when HDF5 wrote past an array the
library or the target allocated, for any UBSan report (libhdf5 is not
instrumented), for a reader that allocated beyond the target's bound, and
for a leak or an oversized allocation made by our code. It is libhdf5's when
the fault, the oversized allocation or the endless loop lies inside libhdf5
on memory libhdf5 allocated. Memory grown past the limit by allocations of
which none is oversized is "unknown". Prints one line per finding; exits 1
when any finding is ours.
"""
import os
import re
import subprocess
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
FRAME = re.compile(r"^\s*#\d+ 0x[0-9a-f]+ in (\S+)(?: (\S+))?|^\s*#\d+ 0x[0-9a-f]+ +\((\S+)\+")
RUNTIME = ("__interceptor_", "__asan", "__sanitizer", "__lsan", "__ubsan", "fuzzer::", "operator new",
           "malloc", "calloc", "realloc", "__memcpy", "__memmove", "__memset", "memcpy", "memmove")


def owner(frame):
    """'ours', 'libhdf5' or None (runtime, libc) for a frame (function, where)."""
    function, where = frame
    if any(function.startswith(r) for r in RUNTIME) or "sysdeps" in where or "libc.so" in where:
        return None
    if "libhdf5" in where or function.startswith("H5"):
        return "libhdf5"
    if where.startswith(ROOT):
        return "ours"
    return None


def frames(lines):
    for line in lines:
        m = FRAME.match(line)
        if m:
            yield (m.group(1) or "", m.group(2) or m.group(3) or "")


def first_owner(lines):
    """The owner of the first frame that has one, and the name of the first
    named function from there on (libhdf5's own functions are mostly
    unnamed)."""
    who = None
    for frame in frames(lines):
        who = who or owner(frame)
        if who and frame[0]:
            return who, frame[0]
    return who, ""


def replay(target, path, *flags):
    env = dict(os.environ, ASAN_OPTIONS=f"suppressions={ROOT}/fuzz/hdf5.supp:allocator_may_return_null=1",
               LSAN_OPTIONS=f"suppressions={ROOT}/fuzz/hdf5-leaks.supp")
    run = subprocess.run([target, "-close_fd_mask=1", "-timeout=20", *flags, path], env=env,
                         capture_output=True, text=True, errors="replace")
    return run.returncode, run.stderr.splitlines()


def classify(target, path):
    """(owner, what) of one finding."""
    code, lines = replay(target, path, "-malloc_limit_mb=1000000", "-rss_limit_mb=2048")
    text = "\n".join(lines)
    if code == 0:
        return "gone", "does not reproduce"
    if "runtime error:" in text:
        return "ours", next(l for l in lines if "runtime error:" in l).strip()
    if "a reader allocated" in text:
        return "ours", "a reader allocated beyond the bound"
    if "out-of-memory" in text:
        # Replayed with a malloc limit, the report names the oversized
        # allocation; memory grown by many small ones names no one (our own
        # allocations are bounded by the target).
        _, lines = replay(target, path, "-malloc_limit_mb=256", "-rss_limit_mb=4096")
        who, function = first_owner(lines)
        return who or "unknown", f"oversized allocation in {function or '?'}"
    if "LeakSanitizer" in text:
        return "ours", "leak"
    if "ALARM" in text or "timeout" in text:
        who, function = first_owner(lines)
        return who or "ours", f"timeout in {function or '?'}"
    fault = [l for l in lines if "ERROR: AddressSanitizer" in l or "ERROR: libFuzzer" in l]
    kind = fault[0].split("ERROR: ")[1].split(" on ")[0] if fault else "crash"
    split = next((i for i, l in enumerate(lines) if "allocated by thread" in l), len(lines))
    who, function = first_owner(lines[:split])
    allocator, _ = first_owner(lines[split:])
    if who == "libhdf5" and allocator == "ours":
        return "ours", f"{kind}: HDF5 wrote past an array of ours ({function})"
    return who or "ours", f"{kind} in {function or '?'}"


def main(target, directory):
    ours = 0
    for name in sorted(os.listdir(directory)):
        who, what = classify(target, os.path.join(directory, name))
        ours += who == "ours"
        print(f"{who:8} {name}: {what}")
    return 1 if ours else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
