#!/usr/bin/env bash
# Vorn3D side by side with CGAL and TetGen: the one command.
#
#   bash bench/compare.sh                 full comparison, writes bench/RESULTS.md
#   bash bench/compare.sh --quick         small sizes, one repetition (checks the
#                                         pipeline in about a minute), writes
#                                         build/compare/RESULTS-quick.md
#   bash bench/compare.sh --peers-only    the same without Vorn3D (when the library
#                                         does not build)
#   bash bench/compare.sh --profile [N [KIND]]
#                                         callgrind profile of Vorn3D on N points
#                                         (default 100000) of a set KIND (default
#                                         cube; see bench/peers/gen_points.cpp)
# Other arguments go to bench/peers/compare.py (--reps, --sets, --note, ...;
# see its --help). `make compare ARGS=...` runs the same.
#
# Steps: install the peers' Debian packages if they are missing (they are
# needed only here, never by the library), build the library in Release and
# install it into a private prefix, build the runners in bench/peers/ (their
# own CMake project, consuming the installed library like any user), then
# let compare.py generate the point sets and run the programs alternately.
set -euo pipefail

ROOT=$(cd "$(dirname "$0")/.." && pwd)
OUT=${VORN3D_COMPARE_DIR:-$ROOT/build/compare}
JOBS=${JOBS:-2}
# Debug information only, so that profiles show names and lines; it does not
# change the generated code.
FLAGS="-g"

# The command line as the results will quote it (a note's text left out).
command="bash bench/compare.sh"
withVorn=1
profilePoints=0
profileKind=cube
passOn=()
while (($#)); do
	case "$1" in
		--note)
			passOn+=("$1" "${2:-}")
			command+=" --note ..."
			shift ;;
		--peers-only)
			withVorn=0
			command+=" $1" ;;
		--profile)
			profilePoints=100000
			if [[ ${2:-} =~ ^[0-9]+$ ]]; then
				profilePoints=$2
				shift
				if [[ ${2:-} =~ ^[a-z]+$ ]]; then profileKind=$2; shift; fi
			fi ;;
		*)
			passOn+=("$1")
			command+=" $1" ;;
	esac
	shift
done

say() { printf '\n== %s\n' "$*"; }
mkdir -p "$OUT"

# --- peers' packages -------------------------------------------------------
missing=()
[[ -f /usr/include/CGAL/Delaunay_triangulation_3.h ]] || missing+=(libcgal-dev)
[[ -f /usr/include/tetgen.h ]] || missing+=(libtet1.5-dev)
if ((profilePoints)) && ! command -v valgrind >/dev/null; then missing+=(valgrind); fi
if ((${#missing[@]})); then
	say "installing ${missing[*]}"
	asRoot=()
	if [[ $(id -u) -ne 0 ]]; then asRoot=(sudo); fi
	"${asRoot[@]}" apt-get update -q
	DEBIAN_FRONTEND=noninteractive "${asRoot[@]}" apt-get install -y -q --no-install-recommends "${missing[@]}"
fi

# --- the library, Release, installed into a private prefix ------------------
prefixArgs=()
if ((withVorn)); then
	say "building Vorn3D (Release) into $OUT/prefix"
	cmake -S "$ROOT" -B "$OUT/lib" -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_FLAGS="$FLAGS" \
		-DVORN3D_BUILD_TESTS=OFF -DVORN3D_BUILD_EXAMPLES=OFF -DVORN3D_BUILD_BENCH=OFF \
		-DCMAKE_INSTALL_PREFIX="$OUT/prefix" >"$OUT/lib-configure.log" 2>&1 \
		|| { cat "$OUT/lib-configure.log"; exit 1; }
	cmake --build "$OUT/lib" -j "$JOBS"
	# A fresh prefix each time, so a stale header or library cannot survive.
	rm -rf "$OUT/prefix"
	cmake --install "$OUT/lib" >/dev/null
	prefixArgs=(-DCMAKE_PREFIX_PATH="$OUT/prefix")
fi

# --- the runners -----------------------------------------------------------
say "building the runners in $OUT/peers"
cmake -S "$ROOT/bench/peers" -B "$OUT/peers" -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_FLAGS="$FLAGS" \
	"${prefixArgs[@]}" >"$OUT/peers-configure.log" 2>&1 || { cat "$OUT/peers-configure.log"; exit 1; }
cmake --build "$OUT/peers" -j "$JOBS" --target vorn3d_gen_points vorn3d_run_cgal vorn3d_run_tetgen
if ((withVorn)) && ! cmake --build "$OUT/peers" -j "$JOBS" --target vorn3d_run_vorn; then
	echo "compare.sh: the Vorn3D runner does not build against this checkout's library;"
	echo "            'bash bench/compare.sh --peers-only' runs the peers alone."
	exit 1
fi

# The generator and the driver check themselves first (a few seconds): a
# table is only worth something if a mismatch or a crash would show in it.
say "self-test of the generator and the driver"
python3 "$ROOT/bench/peers/test_peers.py" "$OUT/peers"

compiler=$(cmake -LA -N "$OUT/peers" 2>/dev/null | sed -n 's/^CMAKE_CXX_COMPILER:[A-Z]*=//p')
compilerVersion=$("${compiler:-c++}" --version | head -n 1)

# --- profile ---------------------------------------------------------------
if ((profilePoints)); then
	((withVorn)) || { echo "--profile needs Vorn3D"; exit 1; }
	mkdir -p "$OUT/data" "$OUT/profile"
	pointFile="$OUT/data/$profileKind-$profilePoints.v3p"
	[[ -f $pointFile ]] || "$OUT/peers/vorn3d_gen_points" "$profileKind" "$profilePoints" "$pointFile"
	say "callgrind on $profilePoints points, set $profileKind (this takes a few minutes)"
	rm -f "$OUT/profile/callgrind.out"
	# Only the bulk insertion is counted: no file reading, read-back or teardown.
	valgrind --tool=callgrind --callgrind-out-file="$OUT/profile/callgrind.out" \
		--toggle-collect='VORN3D::Vorn_3D::insert*' \
		"$OUT/peers/vorn3d_run_vorn" "$pointFile" >"$OUT/profile/run.log" 2>&1
	grep VORN3D_BENCH_RESULT "$OUT/profile/run.log"
	# The library's debug information names its sources relative to the
	# source tree as seen from its build folder; a link there lets
	# callgrind_annotate find them for the line-by-line listing.
	ln -sfn "$ROOT/dt3Library" "$OUT/lib/dt3Library"
	(
		cd "$ROOT"
		callgrind_annotate --auto=no --inclusive=no "$OUT/profile/callgrind.out" >"$OUT/profile/self.txt"
		callgrind_annotate --auto=no --inclusive=yes "$OUT/profile/callgrind.out" >"$OUT/profile/inclusive.txt"
		callgrind_annotate --auto=yes "$OUT/profile/callgrind.out" >"$OUT/profile/lines.txt"
	) 2>"$OUT/profile/annotate.log"
	say "where the instructions go (details: $OUT/profile/{self,inclusive,lines}.txt)"
	python3 "$ROOT/bench/peers/callgrind_summary.py" "$OUT/profile/self.txt" 15
	exit 0
fi

# --- the comparison --------------------------------------------------------
programs=vorn,cgal,tetgen
((withVorn)) || programs=cgal,tetgen
say "running the comparison"
python3 "$ROOT/bench/peers/compare.py" --bin "$OUT/peers" --data "$OUT/data" --programs "$programs" \
	--command "$command" --compiler "$compilerVersion" "${passOn[@]}"
