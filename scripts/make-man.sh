#!/usr/bin/env bash
# Writes a man page from a program's own --help texts, so the two never
# disagree: make-man.sh PROGRAM NAME SUMMARY EXAMPLES-FILE OUT
set -euo pipefail
prog=$1 name=$2 summary=$3 examples=$4 out=$5
export QT_QPA_PLATFORM=offscreen

# Text kept as it stands: backslashes escaped, no line read as a request.
verbatim() { sed -e 's/\\/\\e/g' -e "s/^\([.']\)/\\\\\&\1/"; }
# The help as a user sees it: the program's own name, not the build path.
help() { "$prog" "$@" 2>/dev/null | sed "s|$prog|$name|g" | verbatim; }

upper=$(echo "$name" | tr '[:lower:]' '[:upper:]')
version=$("$prog" --version 2>/dev/null | head -1 | awk '{print $NF}')
{
  echo ".TH $upper 1 \"\" \"Hygrotab $version\" \"User Commands\""
  echo ".SH NAME"
  echo "$name \\- $summary"
  echo ".SH DESCRIPTION"
  echo ".nf"
  help --help
  echo ".fi"
  # A tool with commands: each command's own help.
  commands=$("$prog" --help 2>/dev/null | sed -n '/^Commands:/,/^$/p' | awk 'NR > 1 && NF {print $1}')
  if [ -n "$commands" ]; then
    echo ".SH COMMANDS"
    for c in $commands; do
      echo ".SS $c"
      echo ".nf"
      help "$c" --help
      echo ".fi"
    done
  fi
  if [ -s "$examples" ]; then
    echo ".SH EXAMPLES"
    echo ".nf"
    verbatim < "$examples"
    echo ".fi"
  fi
  echo ".SH SEE ALSO"
  echo "hygrotab(1), hygrotab-cli(1), hygrotab-sim(1)"
} > "$out.tmp"
mv "$out.tmp" "$out"
