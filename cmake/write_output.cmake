# Runs COMMAND and writes what it prints to OUTPUT.
execute_process(COMMAND ${COMMAND} OUTPUT_FILE ${OUTPUT} COMMAND_ERROR_IS_FATAL ANY)
