# What makes a mistake in a program harder to exploit.
include(CheckPIESupported)
check_pie_supported()

# Marks for indirect jumps and return addresses, where the processor checks them.
if(CMAKE_SYSTEM_PROCESSOR STREQUAL "x86_64")
  set(orva_branch_protection -fcf-protection=full)
elseif(CMAKE_SYSTEM_PROCESSOR STREQUAL "aarch64")
  set(orva_branch_protection -mbranch-protection=standard)
else()
  set(orva_branch_protection)
endif()

# For every target of the calling room and of the rooms inside it. The checked calls of the C library need the optimiser,
# and sanitizers check more than they do.
macro(orva_harden_room)
  add_compile_options(-fstack-protector-strong ${orva_branch_protection})
  if(NOT ORVA_SANITIZE)
    add_compile_options("$<$<CONFIG:Release>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")
  endif()
  add_link_options(-Wl,-z,relro -Wl,-z,now)
endmacro()
