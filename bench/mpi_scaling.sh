#!/usr/bin/env bash
# Speed-up of vorn3d-mpi over one Vorn_3D object on the same uniform points.
#
#   bash bench/mpi_scaling.sh [-n "1000000 10000000"] [-p "1 2"] [-r 3]
#
# Builds the release programs in build/mpi, writes each point set once as a
# binary PLY file (build/mpi/points, numpy), then runs, round by round, the
# demo (one object; its insertion time) and vorn3d-mpi on each P (its time
# without reading the file and writing output), and prints every run and
# the medians, with the processor time of the slowest process and its work
# (processor time outside the MPI calls that wait for other processes): on a
# shared machine the wall time also counts waiting for a core; P=1 runs one
# Vorn_3D inside the program, so its processor time is the reference.
# Peak memory is per process. On a larger machine:
#   bash bench/mpi_scaling.sh -n 10000000 -p "1 2 4 8 16" -r 3
set -euo pipefail
cd "$(dirname "$0")/.."
sizes="1000000 10000000"
procs="1 2"
rounds=3
while getopts "n:p:r:" opt; do
	case $opt in
		n) sizes=$OPTARG ;;
		p) procs=$OPTARG ;;
		r) rounds=$OPTARG ;;
		*) exit 2 ;;
	esac
done
build=build/mpi
cmake -S . -B $build -DCMAKE_BUILD_TYPE=Release -DVORN3D_BUILD_TESTS=OFF >/dev/null
cmake --build $build -j 2 --target vorn3d-mpi vorn3d_demo >/dev/null
mkdir -p $build/points
mpirun=(mpirun --bind-to none)
[ "$(id -u)" = 0 ] && mpirun+=(--allow-run-as-root)

results=$(mktemp)
for n in $sizes; do
	points=$build/points/uniform-$n.ply
	[ -e "$points" ] || /usr/bin/python3 bench/mpi_points.py "$n" "$points" 1
	for ((r = 1; r <= rounds; ++r)); do
		out=$($build/apps/vorn3d_demo "$points" --no-check 2>/dev/null)
		t=$(awk '/insertion/ {print $2}' <<<"$out")
		mem=$(awk '/peak memory/ {print $3}' <<<"$out")
		echo "n=$n round=$r single time_s=$t peak_mib=$mem" | tee -a "$results"
		for p in $procs; do
			np=(-np "$p")
			[ "$p" -gt "$(nproc)" ] && np+=(--oversubscribe)
			out=$("${mpirun[@]}" "${np[@]}" $build/distributed/vorn3d-mpi "$points")
			t=$(awk '/without read\/output/ {print $3}' <<<"$out")
			mem=$(awk '/peak MiB per process/ {$1=$2=$3=$4=""; print $0}' <<<"$out" | xargs | tr ' ' ',')
			cpu=$(awk '/CPU s per process/ {m = 0; for(i = 5; i <= NF; ++i) if($i > m) m = $i; print m}' <<<"$out")
			work=$(awk '/work s per process/ {m = 0; for(i = 5; i <= NF; ++i) if($i > m) m = $i; print m}' <<<"$out")
			rnds=$(grep -c "round " <<<"$out")
			echo "n=$n round=$r P=$p time_s=$t peak_mib=$mem rounds=$rnds max_cpu_s=$cpu max_work_s=$work" | tee -a "$results"
		done
	done
done

echo
echo "| points | run | median time (s) | speed-up vs one object | median CPU s (slowest process) | median work s (slowest) | CPU speed-up vs P=1 | peak MiB per process |"
echo "|---|---|---|---|---|---|---|---|"
for n in $sizes; do
	single=$(awk -v n="n=$n" '$1 == n && $3 == "single" {sub("time_s=", "", $4); print $4}' "$results" | sort -g | awk '{a[NR]=$1} END {print a[int((NR+1)/2)]}')
	mem=$(awk -v n="n=$n" '$1 == n && $3 == "single" {sub("peak_mib=", "", $5); print $5}' "$results" | tail -1)
	echo "| $n | one Vorn_3D | $single | 1 | | | | $mem |"
	cpu1=""
	for p in $procs; do
		t=$(awk -v n="n=$n" -v p="P=$p" '$1 == n && $3 == p {sub("time_s=", "", $4); print $4}' "$results" | sort -g | awk '{a[NR]=$1} END {print a[int((NR+1)/2)]}')
		cpu=$(awk -v n="n=$n" -v p="P=$p" '$1 == n && $3 == p {sub("max_cpu_s=", "", $7); print $7}' "$results" | sort -g | awk '{a[NR]=$1} END {print a[int((NR+1)/2)]}')
		work=$(awk -v n="n=$n" -v p="P=$p" '$1 == n && $3 == p {sub("max_work_s=", "", $8); print $8}' "$results" | sort -g | awk '{a[NR]=$1} END {print a[int((NR+1)/2)]}')
		[ "$p" = 1 ] && cpu1=$cpu
		mem=$(awk -v n="n=$n" -v p="P=$p" '$1 == n && $3 == p {sub("peak_mib=", "", $5); print $5}' "$results" | tail -1)
		echo "| $n | vorn3d-mpi P=$p | $t | $(awk -v a="$single" -v b="$t" 'BEGIN {printf "%.2f", a / b}') | $cpu | $work | $(awk -v a="$cpu1" -v b="$cpu" 'BEGIN {if(a != "") printf "%.2f", a / b}') | $mem |"
	done
done
rm -f "$results"
