#!/usr/bin/env bash
# No program links libqzkt beside a library that holds process state (the platform layer with
# its component registry, the host adapters, the components with the DXT24 worker pool, the
# OpenGL and pixel layers): one process would then hold two registries and two pools. The pure
# block coders and frame layout (blocks, stream) may serve beside libqzkt as a reference.
# Reads the link lines of a Ninja build. Usage: link_rule_test.sh BUILD_DIR
set -euo pipefail
ninja_file=$1/build.ninja
awk '
  /^build .*_EXECUTABLE_LINKER__/ { target = $2; sub(/:$/, "", target) }
  /^  LINK_LIBRARIES = / {
    if (target != "" && $0 ~ /libqzkt\.so/ &&
        $0 ~ /lib(host|compressor|decompressor|platform|pixel|gl|resources)\.a/) {
      print "links libqzkt and stateful internals: " target; bad = 1
    }
    target = ""
  }
  END { exit bad }
' "$ninja_file"
echo "every program links libqzkt or the stateful internals, never both"
