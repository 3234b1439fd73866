# orva_program_output(FILE PROGRAM ARGUMENT...): the build writes what the program prints to the file. A cross build needs an
# emulator for it: ORVA_RUNS_PROGRAMS says whether programs can be run.
if(CMAKE_CROSSCOMPILING AND NOT CMAKE_CROSSCOMPILING_EMULATOR)
  set(ORVA_RUNS_PROGRAMS OFF)
else()
  set(ORVA_RUNS_PROGRAMS ON)
endif()

function(orva_program_output file program)
  add_custom_command(OUTPUT ${file}
    COMMAND ${CMAKE_COMMAND} "-DCOMMAND=${CMAKE_CROSSCOMPILING_EMULATOR};$<TARGET_FILE:${program}>;${ARGN}"
      -DOUTPUT=${file} -P ${PROJECT_SOURCE_DIR}/cmake/write_output.cmake
    DEPENDS ${program} ${PROJECT_SOURCE_DIR}/cmake/write_output.cmake VERBATIM)
endfunction()
