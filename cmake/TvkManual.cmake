# Makes OUTPUT, a manual page, from INPUT: @OPTIONS@ becomes what PROGRAM says of its options (see tvk::OptionTable).
execute_process(COMMAND ${PROGRAM} --tvk-manual OUTPUT_VARIABLE OPTIONS COMMAND_ERROR_IS_FATAL ANY
  OUTPUT_STRIP_TRAILING_WHITESPACE)
configure_file(${INPUT} ${OUTPUT} @ONLY)
