#!/bin/sh
# Installs a repaired wheel into a fresh venv and uses it where the system's
# HDF5 and libdeflate cannot load: in a private mount namespace (unshare
# --mount, as root) every libhdf5*/libdeflate* file the dynamic linker knows
# is covered by /dev/null.  There it imports _oxm and oxm, builds C consumers
# through oxm.get_cmake_dir() and oxm.get_pkgconfig_dir(), runs one to write
# a scene file, and reads that file back with the oxm command.
#   check_wheel.sh WHEEL PYTHON CMAKE NINJA
set -eu
if [ "${SCNAPI_HIDDEN:-}" != 1 ]; then
    wheel=$(readlink -f "$1")
    here=$(cd "$(dirname "$0")" && pwd)
    work=$(mktemp -d)
    trap 'rm -rf "$work"' EXIT
    "$2" -m venv "$work/venv"
    "$work/venv/bin/pip" install -q "$wheel"
    SCNAPI_HIDDEN=1 exec unshare --mount "$0" "$wheel" "$work" "$(readlink -f "$3")" "$(readlink -f "$4")" \
        "$here/../.."
fi

# In the namespace.
wheel=$1 work=$2 cmake=$3 ninja=$4 source=$5
python=$work/venv/bin/python
hidden=$(ldconfig -p | awk '/lib(hdf5|deflate)/ {print $NF}' | xargs -r readlink -f | sort -u)
[ -n "$hidden" ] || { echo "no system libhdf5 to hide"; exit 1; }
for lib in $hidden; do
    mount --bind /dev/null "$lib"
done
"$python" - $hidden <<'PY'
import ctypes, sys
for path in sys.argv[1:]:
    try:
        ctypes.CDLL(path)
    except OSError:
        continue
    sys.exit("still loadable: " + path)
PY
echo "hidden: $(echo $hidden)"

"$python" - <<'PY'
import os, sys, sysconfig
import _oxm, oxm

site = sysconfig.get_paths()["platlib"]
record = open(os.path.join(site, "scnapi-2.0.0.dist-info", "RECORD")).read().splitlines()
tops = sorted({line.split(",")[0].split("/")[0] for line in record if not line.startswith("..")})
print("installed at the top of site-packages:", " ".join(tops))
assert all(t.startswith(("_oxm.", "oxm", "scnapi.libs", "scnapi-2.0.0.dist-info")) for t in tops), tops
for path in (oxm.get_include(), oxm.get_cmake_dir(), oxm.get_pkgconfig_dir()):
    assert os.path.isdir(path), path
hdf5 = {line.split()[-1] for line in open("/proc/self/maps") if "libhdf5" in line}
print("HDF5 mapped from:", " ".join(sorted(hdf5)))
assert hdf5 and all(p.startswith(os.path.join(site, "scnapi.libs")) for p in hdf5), hdf5
PY

cmake_dir=$("$python" -c "import oxm; print(oxm.get_cmake_dir())")
pkgconfig_dir=$("$python" -c "import oxm; print(oxm.get_pkgconfig_dir())")
"$cmake" -S "$source/tests/c/consumer" -B "$work/consumer" -G Ninja -DCMAKE_MAKE_PROGRAM="$ninja" \
    -Dscnapi_DIR="$cmake_dir" -DCONSUMER_KINDS=shared -DEXAMPLE_SOURCE="$source/examples/scene_roundtrip.c" >/dev/null
"$cmake" --build "$work/consumer" >/dev/null
"$work/consumer/consumer_shared" "$work/scene.h5" >/dev/null
sh "$source/tests/c/pkg_config_consumer.sh" shared cc "$pkgconfig_dir" \
    "$source/examples/scene_roundtrip.c" "$work/pkg-config" >/dev/null
"$work/venv/bin/oxm" info "$work/scene.h5"
"$work/venv/bin/oxm" check "$work/scene.h5"
echo "wheel check passed: $(basename "$wheel")"
