#!/usr/bin/env bash
# Fails when a source file includes an internal header of a folder that is not below its own
# (the layers are listed in docs/conventions.md).
set -euo pipefail
cd "$(dirname "$0")/.."
declare -A allowed=(
    [core]=""
    [strings]="core"
    [fio]="strings core"
    [gda]="fio strings core"
    [stats]="dsc hfa mif gda fio strings core"
    [prefs]="fio strings core"
    [mif]="gda fio strings core"
    [hfa]="mif gda fio strings core"
    [img]="hfa mif gda fio strings core"
    [dsc]="hfa mif gda fio strings core"
    [toolkit]="hfa dsc mif gda stats prefs fio strings core"
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
exit $status
