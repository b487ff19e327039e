#!/usr/bin/env bash
# Cost of the security headers of a request (SecurityOptions::
# GetSecurityHeaders with 100 installed rule configs, the generated rule in
# place) against reading and parsing the generated rule alone, as a ratio.
#
#   bench/csp_cost.sh [BUILD_DIR] [REPETITIONS]
set -euo pipefail
source_dir=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=${1:-$source_dir/build/release}
repetitions=${2:-20}

"$build/bench/csp_headers_bench" --benchmark_repetitions="$repetitions" \
  --benchmark_enable_random_interleaving=true --benchmark_report_aggregates_only=true \
  --benchmark_format=csv 2> /dev/null |
awk -F, -v repetitions="$repetitions" '
  $1 == "\"ReadRule_median\"" { read = $4; unit = $5 }
  $1 == "\"SecurityHeaders_median\"" { headers = $4 }
  END {
    if (read == "" || headers == "") { print "csp_cost: no figures"; exit 1 }
    printf "per request, median of %d repetitions (cpu time, %s):\n", repetitions, unit
    printf "  %-44s %10.1f\n", "read and parse /run/csp/rule", read
    printf "  %-44s %10.1f\n", "GetSecurityHeaders (100 rule configs)", headers
    printf "  GetSecurityHeaders / rule alone: %.2fx (target: at most 1.30x)\n", headers / read
  }'
