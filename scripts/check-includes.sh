#!/usr/bin/env bash
# The layers of src/ (README.md, "The code"): a file in src/<folder>/ may include project
# headers only from its own folder and the folders its folder may call. Run by ctest; the linker
# cannot catch a header included the wrong way. Below ui/, nothing includes Qt Widgets.
#   bash scripts/check-includes.sh [SRC_DIR]
set -euo pipefail
src="${1:-$(dirname "$0")/../src}"

declare -A allowed=(
  [app]="ui actions sequence eeprom files model bus sim base"
  [ui]="actions sequence eeprom files model bus base"
  [actions]="sequence eeprom files model bus base"
  [sequence]="model bus base"
  [eeprom]="bus base"
  [files]="model bus base"
  [model]="bus base"
  [sim]="bus base"
  [bus]="base"
  [base]=""
)
widgets='QtWidgets|QApplication|QWidget|QMainWindow|QDialog|QMessageBox|QFileDialog|QInputDialog|QLabel|QPushButton|QComboBox|QMenu|QMenuBar|QLineEdit'

failures=0
while IFS= read -r file; do
  folder="${file#"$src"/}"
  folder="${folder%%/*}"
  if [[ ! -v "allowed[$folder]" ]]; then
    echo "$file: folder '$folder' is not one of the layers"
    failures=$((failures + 1))
    continue
  fi
  while IFS=: read -r line target; do
    to="${target%%/*}"
    if [[ "$to" != "$folder" && " ${allowed[$folder]} " != *" $to "* ]]; then
      echo "$file:$line: $folder/ may not include \"$target\""
      failures=$((failures + 1))
    fi
  done < <(grep -nE '^[[:space:]]*#[[:space:]]*include[[:space:]]*"[^"]+/' "$file" |
           sed -E 's/^([0-9]+):[^"]*"([^"]+)".*/\1:\2/')
  if [[ "$folder" != app && "$folder" != ui ]]; then
    while IFS= read -r hit; do
      echo "$file:${hit%%:*}: $folder/ may not use Qt Widgets"
      failures=$((failures + 1))
    done < <(grep -nE "^[[:space:]]*#[[:space:]]*include[[:space:]]*<($widgets)[>/]" "$file" || true)
  fi
done < <(find "$src" -type f \( -name '*.h' -o -name '*.cpp' -o -name '*.h.in' \) | sort)

if ((failures > 0)); then
  echo "$failures include(s) against the layers"
  exit 1
fi
echo "every #include points down"
