#!/usr/bin/env bash
# Times planeshow beside the yardstick, as whole processes on the simulated devices, and prints what
# a run costs next to the aims. A report, not a test: a missed aim is a line of it and no failure.
# Progress goes to standard error. Takes a few minutes.
set -euo pipefail
cd "$(dirname "$0")/.."

tool=build/release/planeshow
yardstick=build/bench/yardstick/yardstick
static=build/bench/planeshow
devices=build/release/libplaneshow-sim.so

# name, width, height, rounds, runs of each program in one round
sizes=(
  "1.4MB 720 480 40 10"
  "8.3MB 1920 1080 40 5"
  "33MB 3840 2160 100 3"
  "330MB 12288 6750 24 1"
)

say() { echo "bench: $*" >&2; }

build() {
  if [ -x scripts/setup.sh ]; then
    scripts/setup.sh bench
  fi
  cmake --preset release >/dev/null
  cmake --build --preset release --target planeshow planeshow-sim-devices planeshow-testcard
  cmake -S . -B build/bench -G Ninja -DCMAKE_BUILD_TYPE=Release -DPLANESHOW_TESTS=OFF \
    -DCMAKE_CXX_FLAGS=-g -DCMAKE_EXE_LINKER_FLAGS=-static >/dev/null
  cmake --build build/bench --target planeshow
  cmake -S bench -B build/bench/yardstick -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null
  cmake --build build/bench/yardstick
}

simulated() { LD_PRELOAD=$devices "$@"; }

# Prints the command line of a program (tool or yardstick) for a row, in hyperfine's quoting.
commandOf() {
  local program=$1 name=$2 width=$3 height=$4
  case $program-$name in
    tool-blank) echo "$tool --blank" ;;
    yardstick-blank) echo "$yardstick --blank" ;;
    tool-*) echo "$tool -i '$temp/$name.raw' -w $width -h $height" ;;
    yardstick-*) echo "$yardstick '$temp/$name.raw' $width $height" ;;
  esac
}

# The devices must have been asked for the same, by both: otherwise the times say nothing.
compareRequests() {
  local program
  for program in tool yardstick; do
    rm -f "$temp/$program.log"
    PLANESHOW_SIM_LOG=$temp/$program.log simulated \
      sh -c "exec $(commandOf "$program" "$@")" >/dev/null
  done
  if ! diff "$temp/yardstick.log" "$temp/tool.log" >&2; then
    say "the yardstick and planeshow do not ask the devices for the same ($1)"
    exit 1
  fi
}

# Times one row: both programs in turn in every round, the first of one round second in the next.
# Leaves lines "round seconds" in NAME.tool and NAME.yardstick.
timeRow() {
  local name=$1 width=$2 height=$3 rounds=$4 runs=$5 round order program
  for ((round = 1; round <= rounds; ++round)); do
    if ((round % 10 == 1)); then
      say "timing $name, round $round of $rounds"
    fi
    order=(yardstick tool)
    ((round % 2)) || order=(tool yardstick)
    simulated hyperfine --shell=none --style none --warmup 1 --runs "$runs" \
      --export-json "$temp/times.json" \
      "$(commandOf "${order[0]}" "$name" "$width" "$height")" \
      "$(commandOf "${order[1]}" "$name" "$width" "$height")" >/dev/null 2>"$temp/hyperfine.err" ||
      { cat "$temp/hyperfine.err" >&2 && exit 1; }
    # One number a line between "times": [ and ].
    awk -v round="$round" -v first="$temp/$name.${order[0]}" -v second="$temp/$name.${order[1]}" '
      /"times"/ { ++command; inside = 1; next }
      /\]/ { inside = 0 }
      inside { sub(",", ""); print round, $1 >>(command == 1 ? first : second) }' "$temp/times.json"
  done
  for program in tool yardstick; do
    if [ "$(wc -l <"$temp/$name.$program")" != $((rounds * runs)) ]; then
      say "the times of $name are not complete"
      exit 1
    fi
  done
}

# The FRACTION's value of the numbers on standard input: 0.5 is the median.
quantile() {
  sort -g | awk -v fraction="$1" '
    { value[NR] = $1 }
    END {
      place = 1 + fraction * (NR - 1); low = int(place); high = low < NR ? low + 1 : low
      print value[low] + (place - low) * (value[high] - value[low])
    }'
}

milliseconds() { awk '{ print $2 * 1000 }' "$temp/$1.$2" | quantile 0.5; }

# The ratio of the two programs' times in each round by itself.
roundRatios() {
  awk 'FNR == NR { yardstick[$1] += $2; next } { tool[$1] += $2 }
       END { for (round in tool) print tool[round] / yardstick[round] }' \
    "$temp/$1.yardstick" "$temp/$1.tool"
}

# Prints "peak-kilobytes page-faults", each the median of several runs. The kernel's kilobytes have
# 1024 bytes.
memoryOf() {
  local run command
  command="$(commandOf "$@")"
  rm -f "$temp/memory"
  for ((run = 0; run < 9; ++run)); do
    simulated sh -c "exec /usr/bin/time -v -a -o '$temp/memory' $command" >/dev/null
  done
  echo "$(awk '/Maximum resident/ { print $NF * 1.024 }' "$temp/memory" | quantile 0.5)" \
    "$(awk '/page faults/ { sum += $NF } /Minor/ { print sum; sum = 0 }' "$temp/memory" | quantile 0.5)"
}

# From a callgrind profile: "self COST KIND FUNCTION" for each function, its cost without what it
# calls, and "with COST KIND FUNCTION" with it. The kind tells where the function is defined: own (src/),
# parser (a template of the option parser or of the standard headers that it uses, compiled into the
# tool), or runtime (a part of the C++ runtime or the C library).
readProfile() {
  awk -v own="$PWD/src/" '
    /^(fl|fi|fe)=/ { file = substr($0, 4); next }
    /^fn=/ {
      name = substr($0, 4)
      kind = index(file, own) == 1 ? "own" : file ~ /\/include\// ? "parser" : "runtime"
      next
    }
    /^calls=/ { called = 1; next }
    /^[0-9+*-]/ {
      with[kind " " name] += $2
      if (!called) {
        self[kind " " name] += $2
        lines += index(file, own) == 1 ? $2 : 0
      }
      called = 0
    }
    END {
      for (key in self) printf "self %d %s\n", self[key], key
      for (key in with) printf "with %d %s\n", with[key], key
      printf "lines %d\n", lines
    }' "$1" | sed -E 's/std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >/std::string/g
                      s/std::__cxx11::/std::/g'
}

selfOf() { awk -v kind="$1" '$1 == "self" && (kind == "all" || $3 == kind) { sum += $2 } END { print sum + 0 }' "$temp/profile"; }

# The cost of the tool's functions that match the pattern, with all that they call.
withOf() {
  local cost
  cost=$(awk -v pattern="$1" '$1 == "with" && $3 != "runtime" && $4 ~ pattern { sum += $2 } END { print sum + 0 }' "$temp/profile")
  if [ "$cost" = 0 ]; then
    say "the profile has no function $1"
    exit 1
  fi
  echo "$cost"
}

# Prints one aim: what it is, the value found, whether CONDITION (an awk expression of x) holds.
aim() {
  local text=$1 value=$2 condition=$3 unit=${4:-}
  awk -v text="$text" -v x="$value" -v unit="$unit" \
    "BEGIN { printf \"%-62s %10s %-3s %s\\n\", text, (x == int(x) ? x : sprintf(\"%.3f\", x)), unit, ($condition) ? \"met\" : \"MISSED\" }"
}

startUp() {
  local all init parse main kind cost
  say "counting the instructions of the static start-up"
  valgrind --quiet --tool=callgrind --compress-strings=no --compress-pos=no \
    --callgrind-out-file="$temp/callgrind.out" "$static" --blank >/dev/null 2>"$temp/valgrind.err" ||
    { cat "$temp/valgrind.err" >&2 && exit 1; }
  readProfile "$temp/callgrind.out" >"$temp/profile"
  all=$(selfOf all)
  if [ "$all" != "$(awk '/^summary:/ { print $2 }' "$temp/callgrind.out")" ]; then
    say "the profile's parts do not add up"
    exit 1
  fi
  init=$(withOf "^_GLOBAL__sub_I_")
  parse=$(withOf "^parseArgs[(]")
  main=$(withOf '^main$')

  echo
  echo "Start-up: instructions of a static planeshow --blank (it finds no device and says so): $all"
  echo
  echo "Where they are executed (exclusive: each function without what it calls)"
  for kind in own parser runtime; do
    cost=$(selfOf "$kind")
    awk -v kind="$kind" -v cost="$cost" -v all="$all" 'BEGIN {
      text["own"] = "planeshow: functions defined in src/, with what is inlined into them"
      text["parser"] = "option parser and its regular expressions: templates compiled in"
      text["runtime"] = "C++ runtime and C library"
      printf "  %-72s %9d %5.1f %%\n", text[kind], cost, 100 * cost / all }'
  done
  awk -v all="$all" '$1 == "lines" {
    printf "  %-72s %9d %5.1f %%\n", "(lines of src/ alone, wherever inlined)", $2, 100 * $2 / all }' "$temp/profile"
  echo
  echo "On whose behalf (inclusive: each with all that it calls)"
  awk -v all="$all" -v init="$init" -v parse="$parse" -v main="$main" '
    function line(text, cost) { printf "  %-72s %9d %5.1f %%\n", text, cost, 100 * cost / all }
    BEGIN {
      line("the parser'\''s constants, before main", init)
      line("parseArgs", parse)
      line("the rest of main: the request and the messages", main - parse)
      line("start and end of the process, the constants'\'' destructors included", all - init - main)
    }'
  echo
  echo "The ten most costly functions (exclusive)"
  awk '$1 == "self"' "$temp/profile" | sort -k2,2nr | head -n 10 | awk -v all="$all" '{
    cost = $2; kind = $3; sub(/^self [0-9]+ [a-z]+ /, "")
    printf "  %9d %5.1f %%  %-8s %s\n", cost, 100 * cost / all, kind, substr($0, 1, 110) }'
}

unset "${!PLANESHOW_SIM_@}" LD_PRELOAD
export LC_ALL=C

say "building"
build >&2

# The images belong into memory, if there is room for them.
folder=${TMPDIR:-/tmp}
if [ -d /dev/shm ] && [ "$(df --output=avail -k /dev/shm | tail -n 1)" -gt 1000000 ]; then
  folder=/dev/shm
fi
temp=$(mktemp -d "$folder/planeshow-bench.XXXXXX")
trap 'rm -rf -- "$temp"' EXIT

compareRequests blank 0 0
for size in "${sizes[@]}"; do
  read -r name width height rounds runs <<<"$size"
  say "making the $name image"
  build/release/planeshow-testcard ARGB8888 "${width}x$height" "$temp/$name.raw"
  compareRequests "$name" "$width" "$height"
done

for size in "blank 0 0 40 10" "${sizes[@]}"; do
  read -r name width height rounds runs <<<"$size"
  timeRow "$name" "$width" "$height" "$rounds" "$runs"
done

echo "planeshow beside the yardstick ($(uname -m), $(nproc) processors, Linux $(uname -r), load $(cut -d ' ' -f 1 /proc/loadavg))"
echo
echo "Time: medians of whole processes, in ms. The last column is the middle half of the ratios that"
echo "single rounds gave: its width is the machine's noise."
echo
printf '%-7s %5s %11s %11s %7s %11s   %s\n' image runs yardstick planeshow ratio difference "single rounds"
declare -A yardstickTime toolTime
for size in "blank 0 0 40 10" "${sizes[@]}"; do
  read -r name width height rounds runs <<<"$size"
  yardstickTime[$name]=$(milliseconds "$name" yardstick)
  toolTime[$name]=$(milliseconds "$name" tool)
  awk -v name="$name" -v runs="$((rounds * runs))" -v y="${yardstickTime[$name]}" -v t="${toolTime[$name]}" \
    -v low="$(roundRatios "$name" | quantile 0.25)" -v high="$(roundRatios "$name" | quantile 0.75)" 'BEGIN {
      printf "%-7s %5d %11.3f %11.3f %7.3f %11.3f   %.3f to %.3f\n", name, runs, y, t, t / y, t - y, low, high }'
done

echo
echo "Memory: the peak in MB, in all and without the two mappings (file and buffer), and page faults."
echo
printf '%-7s %11s %11s %12s %12s %11s %11s\n' image yardstick planeshow "y. without" "p. without" "y. faults" "p. faults"
# The larger of WORST and what a peak of KILOBYTES has above the mappings' BYTES, in MB.
worse() {
  awk -v worst="$1" -v kilobytes="$2" -v bytes="$3" 'BEGIN {
    above = kilobytes / 1000 - bytes / 1e6; print (above > worst ? above : worst) }'
}
worstMemory=0
worstOfYardstick=0
for size in "blank 0 0 40 10" "${sizes[@]}"; do
  read -r name width height rounds runs <<<"$size"
  say "memory of $name"
  read -r yMemory yFaults < <(memoryOf yardstick "$name" "$width" "$height")
  read -r tMemory tFaults < <(memoryOf tool "$name" "$width" "$height")
  mappings=$((2 * width * height * 4))
  awk -v name="$name" -v y="$yMemory" -v t="$tMemory" -v yf="$yFaults" -v tf="$tFaults" -v m="$mappings" 'BEGIN {
    printf "%-7s %11.2f %11.2f %12.2f %12.2f %11d %11d\n", name, y / 1000, t / 1000,
      y / 1000 - m / 1e6, t / 1000 - m / 1e6, yf, tf }'
  worstMemory=$(worse "$worstMemory" "$tMemory" "$mappings")
  worstOfYardstick=$(worse "$worstOfYardstick" "$yMemory" "$mappings")
done
/usr/bin/time -v -o "$temp/memory" "$static" --blank >/dev/null
echo "static  $(awk '/Maximum resident/ { printf "%23.2f", $NF * 1.024 / 1000 }' "$temp/memory")    (--blank, no simulated devices)"

echo
echo "Cost per byte, in ns: the median less that of the blank run, by the image's bytes."
echo
printf '%-7s %11s %11s %7s\n' image yardstick planeshow ratio
for size in "${sizes[@]}"; do
  read -r name width height rounds runs <<<"$size"
  awk -v name="$name" -v bytes=$((width * height * 4)) -v y="${yardstickTime[$name]}" -v t="${toolTime[$name]}" \
    -v yBlank="${yardstickTime[blank]}" -v tBlank="${toolTime[blank]}" 'BEGIN {
      printf "%-7s %11.4f %11.4f %7.3f\n", name, (y - yBlank) * 1e6 / bytes, (t - tBlank) * 1e6 / bytes,
        (t - tBlank) / (y - yBlank) }'
done | tee "$temp/perByte"

startUp

echo
echo "Aims"
ratio33=$(awk -v y="${yardstickTime[33MB]}" -v t="${toolTime[33MB]}" 'BEGIN { print t / y }')
above14=$(awk -v y="${yardstickTime[1.4MB]}" -v t="${toolTime[1.4MB]}" 'BEGIN { print t - y }')
flatness() {
  awk -v column="$1" '{ x = $column; if (NR == 1 || x < low) low = x; if (x > high) high = x } END { print high / low }' "$temp/perByte"
}
aim "33 MB: at most 1.05 times the yardstick" "$ratio33" "x <= 1.05"
aim "1.4 MB: at most 1 ms above the yardstick" "$above14" "x <= 1" ms
aim "static blank run: at most 2.5 million instructions" "$(selfOf all)" "x <= 2500000"
aim "own code below 5 % of them" "$(awk -v own="$(selfOf own)" -v all="$(selfOf all)" 'BEGIN { print 100 * own / all }')" "x < 5" "%"
aim "peak memory: at most 3 MB above the two mappings" "$worstMemory" "x <= 3" MB
echo "(The yardstick has $worstOfYardstick there: the C library and the simulated devices.)"
aim "cost per byte flat beside the yardstick's: within 5 %" "$(flatness 4)" "x <= 1.05"
echo "(Alone it varies by $(flatness 3), the yardstick's by $(flatness 2): what the machine does with larger memory.)"
