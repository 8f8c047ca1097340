#!/usr/bin/env bash
# The library must leave the platform to whoever loads it. check-binding.sh LIBRARY
set -euo pipefail

if readelf -d "$1" | grep NEEDED | grep -E 'qelplatform|spdlog|fmt|crypto'; then
    echo "$1 is bound to a platform of its own." >&2
    exit 1
fi
undefined=$(nm -DC --undefined-only "$1")
for symbol in LogProcess::Error LogProcess::Info _TraceFunction::_TraceFunction _Log_Affirm \
              TQ_UTIL::CWBLogFilter::filter TQ_UTIL::CcipheString::GetOriginalStr \
              ZELT_OS::fopen ZeltGlobalUtils::UTF8TOLOC ZeltGlobalUtils::LOCTOUTF8 \
              snprintf_s strncpy_s memset_s memcpy_s; do
    grep -q "$symbol" <<<"$undefined" || { echo "$symbol is not left undefined." >&2; exit 1; }
done
echo "All platform symbols are left to the host."
