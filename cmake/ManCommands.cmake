# Writes a help2man include file with a COMMANDS section: each subcommand's
# own --help, from the built program.
#   cmake -DPROGRAM=path/to/kernova -DOUTPUT=file -P ManCommands.cmake
execute_process(COMMAND ${PROGRAM} --help OUTPUT_VARIABLE _help RESULT_VARIABLE _status)
if(NOT _status EQUAL 0)
    message(FATAL_ERROR "${PROGRAM} --help failed")
endif()
string(REGEX MATCHALL "\n  [a-z]+  " _lines "${_help}")
set(_text "[COMMANDS]\n")
foreach(_line IN LISTS _lines)
    string(STRIP "${_line}" _command)
    execute_process(COMMAND ${PROGRAM} ${_command} --help OUTPUT_VARIABLE _command_help
                    RESULT_VARIABLE _status)
    if(NOT _status EQUAL 0)
        message(FATAL_ERROR "${PROGRAM} ${_command} --help failed")
    endif()
    # Plain text in roff: backslashes escaped, no line taken as a request.
    string(REPLACE "\\" "\\e" _command_help "${_command_help}")
    string(REGEX REPLACE "(^|\n)([.'])" "\\1\\\\&\\2" _command_help "${_command_help}")
    string(APPEND _text ".SS ${_command}\n.nf\n${_command_help}.fi\n")
endforeach()
file(WRITE ${OUTPUT} "${_text}")
