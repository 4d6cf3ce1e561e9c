#!/usr/bin/env bash
# Installs the build into a temporary prefix and uses it as a program outside the project
# would: the tool, the header, the shared and static library, qzkt.pc, the man page and the
# bash completion are where GNUInstallDirs puts them; the tool runs from the tree (and from a
# copy of it elsewhere) without LD_LIBRARY_PATH; the man page renders without warnings;
# examples/encode_decode.c builds with `pkg-config --cflags --libs qzkt` against the shared
# library, with qzkt-static.pc against libqzkt.a beside it, and with `--static` against
# libqzkt.a alone (a copy of the tree without the shared library), and all run; a statically
# linked program
# leaves no semaphore names either.
# Usage: install_tree_test.sh <build dir> <source dir> <libdir> <version> [extra cc flags...]
set -euo pipefail
build=$1
source=$2
libdir=$3
version=$4
shift 4
cflags=("$@")

work=$(mktemp -d /tmp/qzkt-install-XXXXXX)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix
cmake --install "$build" --prefix "$prefix" >/dev/null

# GNUInstallDirs' defaults for a prefix of one's own.
manpage=share/man/man1/qzkt.1
completion=share/bash-completion/completions/qzkt
for file in bin/qzkt include/qzkt/qzkt.h "$libdir/libqzkt.so.$version" "$libdir/libqzkt.a" \
            "$libdir/pkgconfig/qzkt.pc" "$manpage" "$completion"; do
  [ -e "$prefix/$file" ] || { echo "not installed: $file" >&2; exit 1; }
done
[ "$(readlink "$prefix/$libdir/libqzkt.so.${version%%.*}")" = "libqzkt.so.$version" ]
[ "$(readlink "$prefix/$libdir/libqzkt.so")" = "libqzkt.so.${version%%.*}" ]

# Runs a program; semaphore names it may leave (only when the library's clean-up is broken,
# which semaphore_names_test.sh reports) are removed.
run() {
  "$@" &
  local pid=$! status=0
  wait $pid || status=$?
  find /dev/shm -maxdepth 1 -name "sem.kelstart_${pid}_*" -delete
  return $status
}

# The tool finds its library through its RPATH, relative to itself: in the tree and in a copy
# of the tree somewhere else.
cp -a "$prefix" "$work/moved"
# (ldd's output is read whole: with pipefail, grep -q ending the pipe early fails it by SIGPIPE.)
for tree in "$prefix" "$work/moved"; do
  [ "$(env -u LD_LIBRARY_PATH "$tree/bin/qzkt" --version)" = "qzkt $version" ]
  libraries=$(env -u LD_LIBRARY_PATH ldd "$tree/bin/qzkt")
  grep -q "libqzkt.so.${version%%.*} => $tree/" <<<"$libraries" || {
    echo "$tree/bin/qzkt does not load its own tree's libqzkt:" >&2
    echo "$libraries" >&2
    exit 1
  }
done
rm -rf "$work/moved"

# The man page renders without a warning, through man as a reader sees it and through groff
# with every warning on.
warnings=$(MANWIDTH=80 man -l "$prefix/$manpage" 2>&1 >/dev/null)
warnings+=$(groff -man -Tutf8 -ww -z "$prefix/$manpage" 2>&1)
if [ -n "$warnings" ]; then
  echo "the man page renders with warnings:" >&2
  echo "$warnings" >&2
  exit 1
fi
grep -q "EXIT STATUS" <<<"$(MANWIDTH=80 man -l "$prefix/$manpage" 2>/dev/null)"
# The completion loads and completes the commands.
bash -c 'source "$1"; complete -p qzkt >/dev/null; COMP_WORDS=(qzkt en); COMP_CWORD=1; _qzkt
         [ "${COMPREPLY[*]}" = encode ]' _ "$prefix/$completion"

export PKG_CONFIG_PATH=$prefix/$libdir/pkgconfig
[ "$(pkg-config --modversion qzkt)" = "$version" ]
echo "pkg-config --cflags --libs qzkt: $(pkg-config --cflags --libs qzkt)"
echo "pkg-config --static --libs qzkt: $(pkg-config --static --libs qzkt)"

# Shared: found through LD_LIBRARY_PATH, as an installed library in a non-system prefix is.
cc "${cflags[@]}" "$source/examples/encode_decode.c" $(pkg-config --cflags --libs qzkt) -lm \
  -o "$work/encode_decode_shared"
LD_LIBRARY_PATH=$prefix/$libdir run "$work/encode_decode_shared"

# Static, beside the shared library: qzkt-static.pc names the archive, so the program needs
# no libqzkt.so.
static_flags=$(pkg-config --cflags --libs qzkt-static)
echo "pkg-config --cflags --libs qzkt-static: $static_flags"
cc "${cflags[@]}" "$source/examples/encode_decode.c" $static_flags -lm -o "$work/encode_decode_static"
if ldd "$work/encode_decode_static" | grep libqzkt >/dev/null; then
  echo "the build with qzkt-static.pc still needs libqzkt.so" >&2
  exit 1
fi
run "$work/encode_decode_static"

# Static: a tree that holds only the archive, through qzkt.pc's --static.
cp -a "$prefix" "$work/static"
rm "$work/static/$libdir"/libqzkt.so*
sed -i "s|^prefix=.*|prefix=$work/static|" "$work/static/$libdir/pkgconfig/qzkt.pc"
export PKG_CONFIG_PATH=$work/static/$libdir/pkgconfig
static_flags=$(pkg-config --static --cflags --libs qzkt)
cc "${cflags[@]}" "$source/examples/encode_decode.c" $static_flags -lm -o "$work/encode_decode_static"
if ldd "$work/encode_decode_static" | grep libqzkt >/dev/null; then
  echo "the static build still needs libqzkt.so" >&2
  exit 1
fi
run "$work/encode_decode_static"
cc "${cflags[@]}" "$source/tests/api/semaphore_host.c" $static_flags -o "$work/semaphore_host_static"
"$source/tests/api/semaphore_names_test.sh" "$work/semaphore_host_static" "$build/tests/tool/libsem_open_fails.so" \
  "static library"
# The Python package finds the installed library beside it, with no QZKT_LIBRARY (not in a
# sanitizer build, whose library Python could only load with the runtimes preloaded).
package=$(ls -d "$prefix"/lib/python3*/*-packages 2>/dev/null | head -1)
[ -n "$package" ] && [ -f "$package/qzkt/__init__.py" ] || { echo "not installed: the Python package" >&2; exit 1; }
if [ ${#cflags[@]} -eq 0 ] && /usr/bin/python3 -c "import numpy" 2>/dev/null; then
  found=$(cd / && env -u QZKT_LIBRARY PYTHONPATH="$package" /usr/bin/python3 -c \
    "import qzkt; assert qzkt.version() == '$version', qzkt.version(); print(qzkt.library_path)")
  [[ $found == "$prefix"/* ]] || { echo "the installed Python package loaded $found" >&2; exit 1; }
  # `pip install ./python` into a virtual environment, over the installed library found by the
  # loader (here through LD_LIBRARY_PATH). Offline: setuptools from the system, no index.
  cp -r "$source/python" "$work/python"
  /usr/bin/python3 -m venv --without-pip --system-site-packages "$work/venv"
  "$work/venv/bin/python3" -m pip install -q --no-index --no-build-isolation --no-deps "$work/python" ||
    { echo "pip install ./python failed" >&2; exit 1; }
  found=$(cd / && env -u QZKT_LIBRARY -u PYTHONPATH LD_LIBRARY_PATH="$prefix/$libdir" "$work/venv/bin/python3" -c "
import importlib.metadata, qzkt
assert qzkt.version() == '$version', qzkt.version()
assert importlib.metadata.version('qzkt') == '$version', importlib.metadata.version('qzkt')
print(qzkt.__file__)")
  [[ $found == "$work/venv/"* ]] || { echo "pip's package is not the one imported: $found" >&2; exit 1; }
fi
echo "installed tree: the tool, the man page, the completion, the Python package (also by pip), and shared and static builds of the example pass"
