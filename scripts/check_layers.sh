#!/usr/bin/env bash
# Fails when a source file includes an internal header of a folder that is not below its own
# (the layers are listed in docs/conventions.md).
set -euo pipefail
cd "$(dirname "$0")/.."
# port/ (the platform layer) sits at the bottom: every folder may include it, and it includes
# nothing of ours but the UTF-8 codec (checked separately below).
declare -A allowed=(
    [core]="port"
    [strings]="core port"
    [fio]="strings core port"
    [gda]="fio strings core port"
    [stats]="dsc hfa mif gda fio strings core port"
    [prefs]="fio strings core port"
    [mif]="gda fio strings core port"
    [hfa]="mif gda fio strings core port"
    [img]="hfa mif gda fio strings core port"
    [dsc]="hfa mif gda fio strings core port"
    [toolkit]="hfa dsc mif gda stats prefs fio strings core port"
)
status=0
for dir in "${!allowed[@]}"; do
    [ -d "$dir" ] || continue
    while IFS=: read -r file target; do
        [ "$target" = "$dir" ] && continue
        case " ${allowed[$dir]} " in
            *" $target "*) ;;
            *) echo "layering: $file includes $target/ (not below $dir/)"; status=1 ;;
        esac
    done < <(grep -o '#include "[a-z_]*/' "$dir"/*.cpp "$dir"/*.hpp 2>/dev/null |
             sed 's/:#include "/:/; s#/$##')
done
while IFS=: read -r file header; do
    case "$header" in
        port/*|core/utf8.hpp) ;;
        *) echo "layering: $file includes $header (port/ may include only core/utf8.hpp)"; status=1 ;;
    esac
done < <(grep -ro '#include "[a-z_0-9/]*\.hpp"' port | sed 's/:#include "/:/; s/"$//')
exit $status
