#!/usr/bin/env bash
# Runs a command with the sanitizers' options and suppressions set.
set -euo pipefail
here="$(cd "$(dirname "$0")" && pwd)"
export ASAN_OPTIONS="detect_leaks=1:abort_on_error=0:detect_stack_use_after_return=1"
export LSAN_OPTIONS="suppressions=$here/sanitizers/lsan.supp:print_suppressions=0"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
export TSAN_OPTIONS="suppressions=$here/sanitizers/tsan.supp:halt_on_error=0:second_deadlock_stack=1"
# The other event dispatcher is glib's, which is not instrumented either.
export QT_NO_GLIB=1
exec "$@"
