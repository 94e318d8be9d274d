# ./dev docs: the manual, as pages for a browser and for man.
# shellcheck shell=bash disable=SC2154 # dev sets root, build, jobs and the packages

docs=$build/docs
manual=docs/manual
theme=/usr/share/doxygen-awesome-css

# The version of the library, from the one place that has it.
version() {
  sed -nE 's/^#define COMMON_VERSION "(.*)"$/\1/p' include/common_version.h 2>/dev/null
}

# The first page leads to each header.
check_main_page() {
  local header bad=0
  for header in include/*.h include/commonpp/*.hpp; do
    if [[ -f $header && ${header##*/} != detail.hpp ]] && ! grep -qw -- "${header##*/}" "$manual/main.md"; then
      printf '%s/main.md: does not name %s\n' "$manual" "${header##*/}" >&2
      bad=1
    fi
  done
  return $bad
}

# Makes HTML and XML from the header comments and the pages. Any warning is a failure, and is shown
# with the file that it speaks of.
make_html() {
  local file bad=0 inputs=() input=$docs/input warnings=$docs/warnings.txt
  rm -rf "$input" "$docs/html" "$docs/xml"
  mkdir -p "$docs"
  # By name, not from git: a package is built from a copy.
  for file in include/*.h include/commonpp/*.hpp ./*.md docs/*.md docs/*/*.md bench/*.md; do
    [[ ! -f $file || $file == */detail.hpp ]] || inputs+=("${file#./}")
  done
  tools/docs/prepare.py "$input" "${inputs[@]}" || return 1
  {
    cat "$manual/Doxyfile"
    cat <<TEXT
PROJECT_NUMBER         = $(version)
INPUT                  = "$input"
USE_MDFILE_AS_MAINPAGE = "$input/$manual/main.md"
STRIP_FROM_PATH        = "$input"
STRIP_FROM_INC_PATH    = "$input"
OUTPUT_DIRECTORY       = "$docs"
HTML_EXTRA_STYLESHEET  = $theme/doxygen-awesome.css $theme/doxygen-awesome-sidebar-only.css $manual/manual.css
TEXT
  } | doxygen - 2>"$warnings" || bad=1
  sed -E "s|^$input/(common/)?|\\1|; s|^common/|include/|; s|^commonpp/|include/&|" "$warnings" >&2
  ((!bad)) || return 1
  [[ ! -s $warnings ]] || bad=1
  tools/docs/undocumented.py "$docs/xml" >&2 || bad=1
  tools/docs/lost_words.py "$input" "$docs/xml" >&2 || bad=1
  ((!bad)) || return 1
  # A page of a header is called what the header is.
  sed -i 's/ File Reference</</; s/ File Reference - / - /' "$docs"/html/*.html
  tools/docs/finish_html.py "$docs/html" &&
    tools/docs/search_index.py "$docs/xml" "$docs/html"
}

# Writes the man pages.
make_man() {
  rm -rf "$docs/man"
  tools/docs/man_pages.py "$docs/xml" "$docs/man" "$(version)"
}

# Has man read each page without a word.
test_man() {
  local page warnings bad=0
  for page in "$docs"/man/man3/*.3; do
    warnings=$(cd "$docs/man" && LC_ALL=C.UTF-8 MANROFFSEQ='' MANWIDTH=80 \
      man --warnings -E UTF-8 -l -Tutf8 -Z "$page" 2>&1 >/dev/null) || true
    if [[ -n $warnings ]]; then
      printf '%s: %s\n' "${page##*/}" "$warnings"
      bad=1
    fi
  done
  printf 'man pages: %s\n' "$( ((bad)) && echo BAD || echo good)"
  return $bad
}

# Each exported name is found: by the search, and by man if it is a function; if not, on a page of man. And
# each page of man that another one leads to is there.
test_names() {
  local name names pages missing=()
  mapfile -t names < <(sed -nE 's/^ +([A-Za-z]\w*);$/\1/p' cmake/libcommon.map)
  for name in "${names[@]}"; do
    grep -qF "[\"$name\", " "$docs/html/search_index.js" || missing+=("the search: $name")
    if [[ ! -f $docs/man/man3/$name.3 ]] && ! grep -qE "^.fB[^(]*\b$name(\[\])?;" "$docs"/man/man3/*.3; then
      missing+=("man: $name")
    fi
  done
  mapfile -t pages < <(sed -nE 's/^.fB(common\w*).fR\(3\),?$/\1/p' "$docs"/man/man3/*.3 | sort -u)
  for name in "${pages[@]}"; do
    [[ -f $docs/man/man3/$name.3 ]] || missing+=("man: $name, which another page leads to")
  done
  ((${#names[@]} && ${#pages[@]})) || missing+=('names to look for')
  printf 'names: %s\n' "$( ((${#missing[@]})) && printf 'BAD' || printf '%d good' $((${#names[@]} + ${#pages[@]})))"
  ((!${#missing[@]})) || printf 'not found by %s\n' "${missing[@]}"
  return $((${#missing[@]} > 0))
}

# Looks at the pages with a browser. What npm brings is in the build folder; it brings no browser.
test_html() {
  local folder=$docs/test
  mkdir -p "$folder"
  cp tests/manual/*.mjs tests/manual/package*.json "$folder"
  if ! cmp -s "$folder/package-lock.json" "$folder/node_modules/.installed"; then
    (cd "$folder" && npm ci --ignore-scripts --no-audit --no-fund --loglevel=error >&2) ||
      die "npm could not bring what tests/manual/package.json names"
    cp "$folder/package-lock.json" "$folder/node_modules/.installed"
  fi
  node "$folder/main.mjs" "$docs/html" "$docs/screenshots" "$(command -v chromium)"
}

main() {
  [[ $# == 0 || $* == --test ]] || die "docs takes no argument but --test"
  need "${docs_packages[@]}"
  (($# == 0)) || need "${docs_test_packages[@]}"
  { check_main_page && make_html; } || die "the manual has the faults above"
  make_man
  printf 'dev: the manual is %s, its man pages are in %s\n' "$docs/html/index.html" "$docs/man" >&2
  if (($#)); then
    test_man
    test_names
    test_html
  fi
}
