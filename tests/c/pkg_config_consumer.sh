#!/bin/sh
# Compiles and links a C program against an installed libscnapi with
# pkg-config's flags alone, then runs it.
#   pkg_config_consumer.sh shared|static CC PKG_CONFIG_DIR SOURCE WORK_DIR
set -eu
kind=$1 cc=$2 source=$4 work=$5
export PKG_CONFIG_PATH="$3"
libdir=$(pkg-config --variable=libdir scnapi)
if [ "$kind" = static ]; then
    # -lscnapi would take the shared library next to the archive.
    libs=$(pkg-config --static --libs scnapi | sed 's/-lscnapi/-Wl,-Bstatic -lscnapi -Wl,-Bdynamic/')
else
    libs="$(pkg-config --libs scnapi) -Wl,-rpath,$libdir"
fi
mkdir -p "$work"
cd "$work"
# shellcheck disable=SC2046,SC2086
"$cc" $(pkg-config --cflags scnapi) "$source" -o consumer $libs
./consumer consumer.h5
