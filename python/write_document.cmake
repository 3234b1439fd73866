# Runs COMMAND and writes what it prints to OUTPUT.
execute_process(COMMAND ${COMMAND} OUTPUT_VARIABLE document COMMAND_ERROR_IS_FATAL ANY)
file(WRITE ${OUTPUT} "${document}")
