"""The oxm command: look into scene files."""
import argparse
import json
import os
import sys

from oxm.summary import COLLECTIONS, summarize


def _format(info):
    lines = [info["file"]]
    counts = info["counts"]
    lines.append("  " + ", ".join(f"{counts[key]} {label}" for key, _, label in COLLECTIONS))
    unreadable = "(unreadable)"
    for i, s in enumerate(info["scenes"]):
        lines.append(f"  scene {i}: " + (unreadable if s is None else
                     f'"{s["name"]}", {s["nFrames"]} frames ({s["startFrame"]}..{s["endFrame"]}'
                     f' by {s["stride"]}) at {s["fps"]} fps'))
    for i, p in enumerate(info["parts"]):
        lines.append(f"  part {i}: " + (unreadable if p is None else
                     f'"{p["name"]}" {p["partTypeString"]}'))
    for i, v in enumerate(info["vars"]):
        text = unreadable
        if v is not None:
            text = f'"{v["varName"]}" {v["kindString"]} at {v["centeringString"]}'
            if v.get("extentsExist"):
                text += f', range [{v["min"]}, {v["max"]}]'
        lines.append(f"  variable {i}: {text}")
    for i, n in enumerate(info["nodeSets"]):
        lines.append(f"  node set {i}: " + (unreadable if n is None else
                     f'{n["nodeCount"]} nodes in {n["dimension"]}-D'))
    for i, records in enumerate(info["elemLists"]):
        lines.append(f"  element list {i}: " + (unreadable if records is None else
                     (", ".join(records) or "no records")))
    return "\n".join(lines)


def main(argv=None):
    argv = sys.argv[1:] if argv is None else argv
    if argv[:1] == ["render"]:
        from oxm.render._command import main as render
        return render(argv[1:])
    parser = argparse.ArgumentParser(prog="oxm", description="Summarise scene files.")
    parser.add_argument("files", nargs="+", help="scene files")
    parser.add_argument("--json", action="store_true", help="print the summary as JSON")
    args = parser.parse_args(argv)
    status = 0
    for path in args.files:
        try:
            info = summarize(path)
        except OSError as exc:
            print(f"oxm: {exc}", file=sys.stderr)
            status = 1
            continue
        print(json.dumps(info, indent=2) if args.json else _format(info))
    return status


def run():
    """Entry point of the command: a closed pipe (oxm ... | head) ends it
    quietly instead of with a traceback."""
    try:
        return main()
    except BrokenPipeError:
        # Python flushes stdout again at exit: point it at /dev/null first.
        devnull = os.open(os.devnull, os.O_WRONLY)
        os.dup2(devnull, sys.stdout.fileno())
        return 1


if __name__ == "__main__":
    sys.exit(run())
