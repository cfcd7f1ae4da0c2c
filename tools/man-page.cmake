# One manual page, out of what a program says with --help.

# Of `program`, run in `directory`, as a page of `name`; further arguments are the pages to see also.
function(man_page result help2man directory program name title version)
  list(TRANSFORM ARGN REPLACE "(.+)" ".BR \\1 (1)" OUTPUT_VARIABLE others)
  list(JOIN others ",\n" others)
  string(RANDOM LENGTH 12 random)
  set(see_also "${CMAKE_CURRENT_BINARY_DIR}/see-also-${random}")
  file(WRITE "${see_also}" "[SEE ALSO]\n${others}\n")
  execute_process(COMMAND "${CMAKE_COMMAND}" -E env LC_ALL=C COLUMNS=79 "${help2man}" --no-info --version-string ${version} --source "zelvox ${version}"
    --name "${title}" --include "${see_also}" "${program}"
    WORKING_DIRECTORY "${directory}" OUTPUT_VARIABLE page COMMAND_ERROR_IS_FATAL ANY)
  file(REMOVE "${see_also}")
  # Examples and tables keep their lines, a sentence before them is no heading, and the page bears the
  # name by which `man` finds it.
  string(REGEX REPLACE "\n\\.IP\n(([^.\n][^\n]*\n)+)" "\n.IP\n.nf\n\\1.fi\n" page "${page}")
  string(REGEX REPLACE "\n\\.SS \"([^\"\n]*, [^\"\n]*)\"\n" "\n.PP\n\\1\n" page "${page}")
  string(TOUPPER "${name}" upper)
  string(REGEX REPLACE "\n\\.TH [^\"]*" "\n.TH ${upper} " page "${page}")
  string(REGEX REPLACE "(\n\\.SH NAME\n)[^\\]*" "\\1${name} " page "${page}")
  set(${result} "${page}" PARENT_SCOPE)
endfunction()
