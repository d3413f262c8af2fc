# Writes a manual page from a program's own help texts, so that the page says what --help says.
#
# cmake -DPROGRAM=path -DNAME=trovadex -DSUMMARY="one line" -DVERSION=1.0.0
#       [-DCOMMANDS="search;status"] [-DSEE_ALSO="trovadex-mailhost(1)"] -DOUTPUT=file.1
#       -P man_page.cmake
# The description is `PROGRAM --help`; each command of COMMANDS gets a section holding
# `PROGRAM help COMMAND`. Texts are kept as they are laid out (no filling).

foreach(required PROGRAM NAME SUMMARY VERSION OUTPUT)
  if(NOT DEFINED ${required})
    message(FATAL_ERROR "man_page.cmake needs -D${required}=...")
  endif()
endforeach()

# The text as roff that prints it verbatim.
function(roff_verbatim text result)
  string(REPLACE "\\" "\\e" text "${text}")
  string(REPLACE "-" "\\-" text "${text}")
  # A line starting with a dot or an apostrophe would be read as a request.
  string(REGEX REPLACE "(^|\n)([.'])" "\\1\\\\&\\2" text "${text}")
  set(${result} ".nf\n${text}.fi\n" PARENT_SCOPE)
endfunction()

function(help_text result)
  execute_process(COMMAND ${PROGRAM} ${ARGN}
    OUTPUT_VARIABLE text RESULT_VARIABLE status)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${PROGRAM} ${ARGN} failed: ${status}")
  endif()
  roff_verbatim("${text}" roff)
  set(${result} "${roff}" PARENT_SCOPE)
endfunction()

string(TOUPPER "${NAME}" title)
string(REPLACE "-" "\\-" name_roff "${NAME}")
set(page ".TH ${title} 1 \"\" \"${NAME} ${VERSION}\" \"User Commands\"\n")
string(APPEND page ".SH NAME\n${name_roff} \\- ${SUMMARY}\n")
help_text(overview --help)
string(APPEND page ".SH DESCRIPTION\n${overview}")
if(COMMANDS)
  string(APPEND page ".SH COMMANDS\n")
  foreach(command IN LISTS COMMANDS)
    help_text(text help ${command})
    string(REPLACE "-" "\\-" command_roff "${command}")
    string(APPEND page ".SS ${command_roff}\n${text}")
  endforeach()
endif()
if(SEE_ALSO)
  string(REPLACE "-" "\\-" see_also "${SEE_ALSO}")
  string(APPEND page ".SH SEE ALSO\n${see_also}\n")
endif()
file(WRITE ${OUTPUT} "${page}")
