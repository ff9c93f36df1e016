# Writes a document as a manual page:
#   awk -v name=morvane-rules -v section=5 -v what=... -v date=... -v version=... -v also="b(5) a(1)"
#       -v pages="rules-file.md=morvane-rules(5) ..." -f page.awk DOCUMENT
# Headings, paragraphs, one level of lists, tables, fenced code, code and links are known. A table
# becomes a list of its first column. Links to documents that are pages name the page; of others
# their text remains.

function literal(text) {
  gsub(/\\/, "\\e", text)
  gsub(/-/, "\\-", text)
  gsub(/'/, "\\(aq", text)
  gsub(/`/, "\\(ga", text)
  gsub(/\^/, "\\(ha", text)
  gsub(/~/, "\\(ti", text)
  return text
}

# Replaces links by their text and, of documents that are pages, the page.
function linked(text,    before, label, target) {
  while (match(text, /\[[^]]*\]\([^)]*\)/)) {
    before = substr(text, 1, RSTART - 1)
    target = label = substr(text, RSTART, RLENGTH)
    text = substr(text, RSTART + RLENGTH)
    sub(/^\[/, "", label)
    sub(/\]\(.*/, "", label)
    sub(/.*\]\(/, "", target)
    sub(/\)$/, "", target)
    sub(/#.*/, "", target)
    sub(/^(\.\.\/)*/, "", target)
    if (target in page)
      label = label " (`" page[target] "`)"
    text = before label text
  }
  return text
}

# Text in which every second part between backquotes is code.
function inline(text,    parts, n, i, result) {
  n = split(linked(text), parts, "`")
  for (i = 1; i <= n; ++i)
    if (i % 2 == 0)
      result = result "\\fB" literal(parts[i]) "\\fP"
    else {
      gsub(/\\/, "\\e", parts[i])
      result = result parts[i]
    }
  return result
}

# A line that begins with a dot or a quote is a request.
function line(text) { print (text ~ /^[.']/ ? "\\&" : "") text }

# Fills lines; a sentence begins a new one.
function filled(text,    words, n, i, out) {
  n = split(inline(text), words, " ")
  for (i = 1; i <= n; ++i) {
    if (out != "" && (length(out) + length(words[i]) > 75 || out ~ /[^.][.?!]$/)) {
      line(out)
      out = ""
    }
    out = out (out == "" ? "" : " ") words[i]
  }
  if (out != "")
    line(out)
}

# What a page has no paragraph before: the first one after a heading.
function paragraph() {
  if (!headed)
    print ".PP"
  headed = 0
}

function flush() {
  if (text == "")
    return
  if (item != "")
    print item
  else
    paragraph()
  headed = 0
  filled(text)
  text = item = ""
}

# Cells of a table's row, in which \| is a bar.
function row(text, cells,    n, i) {
  gsub(/\\\|/, "\001", text)
  sub(/^\| */, "", text)
  sub(/ *\|$/, "", text)
  n = split(text, cells, / *\| */)
  for (i = 1; i <= n; ++i)
    gsub(/\001/, "|", cells[i])
  return n
}

function heading(macro, title) {
  print macro " \"" title "\""
  headed = 1
}

BEGIN {
  n = split(pages, list, " ")
  for (i = 1; i <= n; ++i) {
    split(list[i], pair, "=")
    page[pair[1]] = pair[2]
  }
  printf ".\\\" Written from %s.\n", ARGV[1]
  printf ".TH %s %s \"%s\" \"morvane\\-tcam %s\"\n.ad l\n", literal(toupper(name)), section, date,
    version
  printf ".SH NAME\n%s \\- %s\n.SH DESCRIPTION\n", literal(name), what
  headed = 1
}

/^```/ {
  flush()
  if (!code)
    paragraph()
  print code ? ".EE\n.RE" : ".RS 4\n.EX"
  code = !code
  next
}
code { line(literal($0)); next }
/^(###|[*+] |    |\t|!\[)/ {
  print FILENAME ":" FNR ": page.awk does not know this form" >"/dev/stderr"
  failed = 1
  exit
}
/^# / { next }
/^## / { flush(); heading(".SH", inline(substr($0, 4))); next }
/^\|/ {
  flush()
  columns = row($0, cells)
  if (!table) {
    for (i = 1; i <= columns; ++i)
      title[i] = cells[i]
    table = 1
    next
  }
  if ($0 ~ /^\|-/)
    next
  print ".TP"
  line(cells[1] ~ /`/ ? inline(cells[1]) : "\\fB" inline(cells[1]) "\\fP")
  for (i = 2; i <= columns; ++i)
    if (cells[i] != "") {
      filled((columns > 2 && title[i] != "" ? title[i] ": " : "") cells[i])
      if (i < columns)
        print ".br"
    }
  headed = 0
  next
}
{ table = 0 }
/^$/ { flush(); next }
/^- / { flush(); item = ".IP \\(bu 2"; text = substr($0, 3); next }
/^[0-9]+\. / { flush(); item = ".IP " $1 " 3"; text = substr($0, length($1) + 2); next }
{ sub(/^ +/, ""); text = text (text == "" ? "" : " ") $0 }

END {
  if (failed)
    exit 1
  flush()
  heading(".SH", "SEE ALSO")
  n = split(also, list, " ")
  for (i = 1; i <= n; ++i) {
    split(list[i], pair, "(")
    print ".BR " literal(pair[1]) " (" pair[2] (i < n ? "," : "")
  }
}
