#!/usr/bin/env bash
# Speed-up of Vorn3D's threaded builder, with CGAL's parallel build (TBB) on
# the same points in the same run.
#
#   bash bench/parallel_scaling.sh [-n "1000000 10000000"] [-t "1 2"] [-r 3]
#
# Builds the library in Release and installs it into a private prefix, builds
# the runners of bench/peers against it (as a user would), writes each
# uniform point set once (unit cube, fixed seed), then runs round by round:
# one Vorn_3D (bulk insertion alone), the threaded builder and CGAL's parallel
# build on each thread count. Prints every run and a table of medians: wall
# time, speed-up over one thread, peak memory (VmHWM of the whole process,
# input included). All runs must report the same number of cells. On a
# larger machine:
#   bash bench/parallel_scaling.sh -n "10000000 100000000" -t "1 2 4 8 16" -r 3
set -euo pipefail
ROOT=$(cd "$(dirname "$0")/.." && pwd)
OUT=${VORN3D_SCALING_DIR:-$ROOT/build/scaling}
sizes="1000000 10000000"
threads="1 2"
rounds=3
while getopts "n:t:r:" opt; do
	case $opt in
		n) sizes=$OPTARG ;;
		t) threads=$OPTARG ;;
		r) rounds=$OPTARG ;;
		*) exit 2 ;;
	esac
done
JOBS=${JOBS:-$(nproc)}
mkdir -p "$OUT/data"
if [[ ! -f /usr/include/CGAL/Delaunay_triangulation_3.h || ! -f /usr/include/tbb/global_control.h ]]; then
	asRoot=()
	[[ $(id -u) -ne 0 ]] && asRoot=(sudo)
	"${asRoot[@]}" apt-get update -q
	DEBIAN_FRONTEND=noninteractive "${asRoot[@]}" apt-get install -y -q --no-install-recommends libcgal-dev libtbb-dev
fi
cmake -S "$ROOT" -B "$OUT/lib" -DCMAKE_BUILD_TYPE=Release -DVORN3D_BUILD_TESTS=OFF -DVORN3D_BUILD_EXAMPLES=OFF \
	-DVORN3D_BUILD_PYTHON=OFF -DCMAKE_INSTALL_PREFIX="$OUT/prefix" >/dev/null
cmake --build "$OUT/lib" -j "$JOBS" >/dev/null
rm -rf "$OUT/prefix"
cmake --install "$OUT/lib" >/dev/null
cmake -S "$ROOT/bench/peers" -B "$OUT/peers" -DCMAKE_BUILD_TYPE=Release -DCMAKE_PREFIX_PATH="$OUT/prefix" >/dev/null
cmake --build "$OUT/peers" -j "$JOBS" --target vorn3d_gen_points vorn3d_run_vorn vorn3d_run_vorn_parallel \
	vorn3d_run_cgal_parallel >/dev/null

# One run: program, n, threads -> "seconds peak_mib cells".
field() { tr ' ' '\n' | sed -n "s/^$1=//p"; }
run() {
	local line
	line=$("$@" | grep VORN3D_BENCH_RESULT)
	printf '%s %s %s\n' "$(field insert_s <<<"$line")" "$(($(field peak_kib <<<"$line") / 1024))" \
		"$(field cells <<<"$line")"
}

results=$OUT/runs.txt
: >"$results"
for n in $sizes; do
	points=$OUT/data/cube-$n.v3p
	[[ -f $points ]] || "$OUT/peers/vorn3d_gen_points" cube "$n" "$points" >/dev/null
	for ((r = 1; r <= rounds; ++r)); do
		echo "$n object 1 $(run "$OUT/peers/vorn3d_run_vorn" "$points")" | tee -a "$results"
		for t in $threads; do
			echo "$n vorn3d $t $(run "$OUT/peers/vorn3d_run_vorn_parallel" "$points" "$t")" | tee -a "$results"
			echo "$n cgal $t $(run "$OUT/peers/vorn3d_run_cgal_parallel" "$points" "$t")" | tee -a "$results"
		done
	done
done

echo
/usr/bin/python3 - "$results" <<'PY'
import statistics, sys
runs = {}
cells = {}
for line in open(sys.argv[1]):
    n, prog, t, sec, mib, ncells = line.split()
    runs.setdefault((int(n), prog, int(t)), []).append((float(sec), int(mib)))
    cells.setdefault(int(n), set()).add(int(ncells))
print("| points | program | threads | median s | speed-up vs its 1 thread | peak MiB | Vorn3D / CGAL |")
print("|---|---|---|---|---|---|---|")
for (n, prog, t) in sorted(runs, key=lambda k: (k[0], k[1] != "object", k[2], k[1])):
    med = statistics.median(s for s, _ in runs[(n, prog, t)])
    peak = max(m for _, m in runs[(n, prog, t)])
    base = runs.get((n, prog, 1))
    speed = statistics.median(s for s, _ in base) / med if base else float("nan")
    other = runs.get((n, "cgal", t)) if prog == "vorn3d" else None
    ratio = f"{med / statistics.median(s for s, _ in other):.2f}" if other else ""
    label = "one Vorn_3D (insertion only)" if prog == "object" else prog
    print(f"| {n} | {label} | {t} | {med:.3f} | {speed:.2f} | {peak} | {ratio} |")
for n, c in sorted(cells.items()):
    if len(c) != 1:
        print(f"cell counts differ at n={n}: {sorted(c)}")
        sys.exit(1)
PY
