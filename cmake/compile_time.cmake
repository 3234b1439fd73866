# What keeps a full build short. Nothing here changes what the library is compiled with.

# The standard headers that most sources of a program read, parsed once for it. Headers of large packages stay out: a
# precompiled header instantiates their templates anew in every source.
function(orva_precompile target)
  target_precompile_headers(${target} PRIVATE
    <algorithm> <array> <atomic> <cstring> <filesystem> <functional> <map> <optional> <set> <span> <string> <thread>
    <utility> <vector>)
endfunction()

# Programs whose speed nobody notices: the optimiser would take longer over the packages' templates than they ever run.
function(orva_compile_quickly target)
  target_compile_options(${target} PRIVATE $<$<CONFIG:Release>:-O1>)
  orva_precompile(${target})
endfunction()
