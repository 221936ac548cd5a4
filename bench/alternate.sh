#!/usr/bin/env bash
# Side-by-side timing of library builds on one point file.
#
#   bash bench/alternate.sh ROUNDS FILE TARGET...
#
# A TARGET is either a directory holding a libvorn3d.so (an installed lib/
# directory, copied aside before the next build), or "cgal" / "tetgen" for the
# peer programs. Each round runs every target once, in the order given, so
# that load on a shared machine spreads over all of them; the script prints
# each target's median insertion time and its runs. The Vorn3D runner finds
# the library through its RUNPATH, which LD_LIBRARY_PATH overrides: one runner
# serves every build. Needs the programs of `bash bench/compare.sh` (run it
# once, or with --quick) in build/compare/peers.
#
# Example: does a change make 10^6 uniform points faster?
#   bash bench/compare.sh --quick        # builds and installs the library and the runners
#   build/compare/peers/vorn3d_gen_points cube 1000000 /tmp/cube-1M.v3p
#   cp -r build/compare/prefix/lib /tmp/lib-before
#   (make the change)
#   bash bench/compare.sh --quick        # rebuilds and reinstalls
#   bash bench/alternate.sh 5 /tmp/cube-1M.v3p /tmp/lib-before build/compare/prefix/lib cgal
set -euo pipefail

if [ $# -lt 3 ]; then
	echo "usage: bash bench/alternate.sh ROUNDS FILE TARGET..." >&2
	exit 2
fi
rounds=$1
file=$2
shift 2
root=$(cd "$(dirname "$0")/.." && pwd)
peers="$root/build/compare/peers"
[ -f "$file" ] || { echo "no such point file: $file" >&2; exit 2; }

declare -A times
for target in "$@"; do times[$target]=""; done
for ((round = 1; round <= rounds; ++round)); do
	for target in "$@"; do
		case "$target" in
			cgal | tetgen) line=$("$peers/vorn3d_run_$target" "$file") ;;
			*) line=$(LD_LIBRARY_PATH="$target" "$peers/vorn3d_run_vorn" "$file") ;;
		esac
		seconds=$(grep -o 'insert_s=[0-9.]*' <<<"$line" | cut -d= -f2)
		[ -n "$seconds" ] || { echo "no insertion time from $target" >&2; exit 1; }
		times[$target]+=" $seconds"
	done
done
for target in "$@"; do
	python3 - "$target" ${times[$target]} <<'EOF'
import statistics
import sys
runs = [float(x) for x in sys.argv[2:]]
print("%-40s median %.3f s   runs %s" % (sys.argv[1], statistics.median(runs), " ".join("%.3f" % x for x in runs)))
EOF
done
