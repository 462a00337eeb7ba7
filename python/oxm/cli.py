"""The oxm command: look into scene files."""
import argparse
import sys

import _oxm


def _summary(path):
    f = _oxm.oxm(path)
    return {"file": str(f.filename), "scenes": f.sceneNum()}


def main(argv=None):
    parser = argparse.ArgumentParser(prog="oxm", description="Look into scene files.")
    parser.add_argument("files", nargs="+", help="scene files to summarise")
    args = parser.parse_args(argv)
    status = 0
    for path in args.files:
        try:
            info = _summary(path)
        except OSError as exc:
            print(f"oxm: {exc}", file=sys.stderr)
            status = 1
            continue
        print("\n".join(f"{key}: {value}" for key, value in info.items()))
    return status


if __name__ == "__main__":
    sys.exit(main())
