# What keeps a full build short. Nothing here changes what the library is compiled with.

# The standard headers that most sources of a target read, parsed once for it: that pays from some five on. Headers of large
# packages stay out: a precompiled header instantiates their templates anew in every source.
function(orva_precompile target)
  target_precompile_headers(${target} PRIVATE
    <algorithm> <array> <atomic> <cstring> <filesystem> <functional> <map> <optional> <set> <span> <string> <thread>
    <utility> <vector>)
endfunction()

# Programs whose speed nobody notices: the optimiser would take longer over the packages' templates than they ever run.
function(orva_compile_quickly target)
  target_compile_options(${target} PRIVATE $<$<CONFIG:Release>:-O1>)
endfunction()

# Compiles sources of the target as one, under a name: what they include is read, and its templates are compiled, once.
# What wants each source alone, as the compiler's cache and the linters do, turns off precompiled headers, and this too.
function(orva_compile_together target name)
  if(NOT CMAKE_DISABLE_PRECOMPILE_HEADERS)
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP)
    set_source_files_properties(${ARGN} PROPERTIES UNITY_GROUP ${name})
  endif()
endfunction()
