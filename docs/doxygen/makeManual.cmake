# Makes the manual in the working folder anew, without pages that are left of an earlier one.
file(REMOVE_RECURSE html)
execute_process(COMMAND "${DOXYGEN}" Doxyfile.docs RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "Doxygen has warnings: ${status}")
endif()
