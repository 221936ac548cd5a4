#!/usr/bin/env bash
# Elongated and flat boxes: the walk's length per insertion and the insertion
# time of Vorn3D against CGAL, and what the library's fixed insertion order
# costs on each set.
#
#   bash bench/elongated.sh [SIZES [BOXES]]
#
# default SIZES "100000 1000000", BOXES "1000x1x1 1x1000x1 1x1x1000 1e4x1x1
# 1000x1x0.001 1000x1000x10 1x1x0.001" (extents in x, y and z).
#
# Needs the runners of `bash bench/compare.sh` (build/compare/peers, against
# this checkout's library) and walk_stats (`make bench`, build/bench/bench).
# Per set and size, one run each, in this order:
#   walk_stats fixed  tests per insertion in the library's own order
#   walk_stats ideal  the same points in the order of a true Hilbert curve over
#                     the cube of the largest extent, same batches and walk
#   vorn3d_run_vorn   the shipped library's insertion time
#   vorn3d_run_cgal   CGAL's insertion time
# Times are CPU seconds of the insertion (clock_gettime of the process CPU
# time), which other programs on a shared machine disturb far less than the
# wall clock. Writes a markdown table to standard output (the runs' lines go
# to stderr); the header line only when BOXES is not given.
set -euo pipefail
ROOT=$(cd "$(dirname "$0")/.." && pwd)
PEERS=$ROOT/build/compare/peers
WALK=$ROOT/build/bench/bench/walk_stats
DATA=${VORN3D_ELONGATED_DATA:-$ROOT/build/compare/data}
SIZES=${1:-"100000 1000000"}
BOXES=${2:-"1000x1x1 1x1000x1 1x1x1000 1e4x1x1 1000x1x0.001 1000x1000x10 1x1x0.001"}
mkdir -p "$DATA"
field() { grep -o "$1=[0-9.]*" <<<"$2" | cut -d= -f2; }
if [ $# -lt 2 ]; then
	echo "| box | points | walk mean / p99 / max (fixed order) | walks over 2,000 | watchdog stops | Vorn3D s | CGAL s | Vorn3D/CGAL | walk mean / p99 / max (ideal order) | stats build s: fixed / ideal |"
	echo "|---|---|---|---|---|---|---|---|---|---|"
fi
for n in $SIZES; do
	for box in $BOXES; do
		file=$DATA/box$box-$n.v3p
		[ -f "$file" ] || "$PEERS/vorn3d_gen_points" "box$box" "$n" "$file" >/dev/null
		fixed=$("$WALK" "$file" fixed); echo "$fixed" >&2
		ideal=$("$WALK" "$file" ideal); echo "$ideal" >&2
		vorn=$("$PEERS/vorn3d_run_vorn" "$file" | grep VORN3D_BENCH_RESULT); echo "$vorn" >&2
		cgal=$("$PEERS/vorn3d_run_cgal" "$file" | grep VORN3D_BENCH_RESULT); echo "$cgal" >&2
		[ "$(field cells "$vorn")" = "$(field cells "$cgal")" ] || echo "cells differ on $file" >&2
		tv=$(printf %.3f "$(field insert_cpu_s "$vorn")"); tc=$(printf %.3f "$(field insert_cpu_s "$cgal")")
		echo "| ${box//x/ × } | $n | $(field mean "$fixed") / $(field p99 "$fixed") / $(field max "$fixed") |" \
			"$(field over2000 "$fixed") | $(field watchdog "$fixed") | $tv | $tc | $(python3 -c "print('%.2f' % ($tv / $tc))") |" \
			"$(field mean "$ideal") / $(field p99 "$ideal") / $(field max "$ideal") |" \
			"$(field cpu_s "$fixed") / $(field cpu_s "$ideal") |"
	done
done
