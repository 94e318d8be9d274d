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
    test_html
  fi
}
