#!/usr/bin/env bash
# Checks what the compilers and the tests don't see: format and static analysis. Then runs every test
# once more with valgrind.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh check

echo "== clang-format"
git ls-files -z '*.cpp' '*.h' | xargs -0 clang-format --dry-run --Werror

echo "== Building debug"
cmake --preset debug >/dev/null
cmake --build --preset debug

echo "== clang-tidy"
git ls-files -z '*.cpp' |
  xargs -0 -P "$(nproc)" -n 2 clang-tidy -p build/debug --quiet 2> >(grep -v 'warnings generated' >&2)

echo "== cppcheck"
cppcheck --quiet --std=c++17 --language=c++ --enable=warning,style,performance,portability \
  --inline-suppr --suppressions-list=.cppcheck --error-exitcode=1 -I src -I . src simulator tools tests bench

echo "== shellcheck"
git ls-files -z '*.sh' '*.bash' .ci | xargs -0 shellcheck

echo "== valgrind over the tests"
WRAP="valgrind --quiet --error-exitcode=99 --leak-check=full --errors-for-leak-kinds=definite,indirect,possible" \
  ctest --preset debug --parallel "$(nproc)"
