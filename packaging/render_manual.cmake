# Renders docs/manual.md into one HTML page: cmark-gfm (with tables) makes the body, the
# template gives it a head and a style. Args: CMARK, IN, TEMPLATE, OUT.
execute_process(COMMAND ${CMARK} --extension table --extension autolink ${IN}
                OUTPUT_VARIABLE BODY RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "cmark-gfm failed on ${IN}")
endif()
configure_file(${TEMPLATE} ${OUT} @ONLY)
