#!/usr/bin/env bash
# Gathers the program's user-visible strings from vna_gui/ into the language files
# translations/vna_<language>.ts. Strings already translated keep their translation; new ones
# arrive marked unfinished, to be translated in Qt Linguist (linguist translations/vna_de.ts) or
# by hand. The build compiles each file into vna_<language>.qm (see vna_gui/CMakeLists.txt).
#
# Besides tr() and the QT_TRANSLATE_NOOP family, several sources translate through a file-local
# helper, QString Tr(const char*), whose context lupdate cannot see; those strings are listed for
# lupdate in a scratch file first.
#   tools/update_translations.sh            every language file there is
#   tools/update_translations.sh fr         also starts translations/vna_fr.ts
set -euo pipefail
cd "$(dirname "$0")/.."

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

python3 - vna_gui > "$scratch/helper_strings.cpp" <<'PY'
import pathlib, re, sys

helper = re.compile(r'QString\s+Tr\s*\(\s*const\s+char\s*\*\s*\w+\s*\)\s*\{\s*'
                    r'return\s+QCoreApplication::translate\(\s*"([^"]+)"')
literal = r'"(?:[^"\\]|\\.)*"'
call = re.compile(r'\bTr\(\s*(' + literal + r'(?:\s*' + literal + r')*)\s*\)')
for source in sorted(pathlib.Path(sys.argv[1]).glob('*.cpp')):
    text = source.read_text(encoding='utf-8')
    found = helper.search(text)
    if not found:
        continue
    for strings in call.findall(text):
        print('QT_TRANSLATE_NOOP("%s", %s)' % (found.group(1), strings))
PY

languages=("$@")
for ts in translations/vna_*.ts; do
  [ -e "$ts" ] || continue
  code=${ts#translations/vna_}
  languages+=("${code%.ts}")
done
if [ ${#languages[@]} -eq 0 ]; then
  echo "No language files in translations/: name one, e.g. tools/update_translations.sh de" >&2
  exit 1
fi
for code in $(printf '%s\n' "${languages[@]}" | sort -u); do
  lupdate -silent -no-obsolete -locations none -target-language "$code" \
    vna_gui "$scratch/helper_strings.cpp" -ts "translations/vna_$code.ts"
  echo "translations/vna_$code.ts: $(grep -c 'type="unfinished"' "translations/vna_$code.ts" || true) unfinished"
done
