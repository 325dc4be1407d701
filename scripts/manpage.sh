#!/usr/bin/env bash
# Writes the man page brightquill(1) from the program's --help text, so that the two never
# tell different things.
#   scripts/manpage.sh <brightquill> <version> <output>
set -euo pipefail
program="$1" version="$2" out="$3"
help="$("$program" --help)"
{
    echo ".TH BRIGHTQUILL 1 \"$(date -u +%Y-%m-%d)\" \"brightquill $version\" \"User Commands\""
    echo ".SH NAME"
    echo "brightquill \\- order patent documents by number"
    echo ".SH DESCRIPTION"
    echo ".nf"
    # Backslashes and leading dots or quotes would be read as troff.
    printf '%s\n' "$help" | sed -e 's/\\/\\e/g' -e "s/^\\([.']\\)/\\\\\\&\\1/"
    echo ".fi"
    echo ".SH FILES"
    echo ".TP"
    echo ".I ~/.config/Tarnwell/brightquill.ini"
    echo "the settings"
    echo ".TP"
    echo ".I bnslog.csv"
    echo "the log, in the PDF folder"
} >"$out"
