#!/usr/bin/env bash
# Fails when a C++ file differs from what clang-format makes of it.
set -euo pipefail
cd "$(dirname "$0")/.."
git ls-files -- '*.cpp' '*.h' | xargs -r clang-format --dry-run --Werror
