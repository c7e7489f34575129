# The CPU targets that src/pixels/kernel.cpp is compiled for, best first, one row each:
#   name | processors | condition to run | lane bytes | lanes | flags
# A lane is how far the target's shuffles move bytes; a vector is one or two lanes. Behind them all comes
# src/pixels/plain.cpp, which runs everywhere.
set(RASTEL_TARGETS
  "avx512vbmi|x86|Has(\"avx512vbmi\") && Has(\"avx512bw\") && Has(\"avx512vl\")|64|1|-mavx512f -mavx512bw -mavx512vl -mavx512vbmi"
  "avx2|x86|Has(\"avx2\")|16|2|-mavx2"
  "ssse3|x86|Has(\"ssse3\")|16|1|-mssse3"
  "neon|aarch64|true|16|1|")

if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|i[3-6]86)$")
  set(processor x86)
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|arm64)$")
  set(processor aarch64)
else()
  set(processor other)
endif()

# Linked last, so that these options come after those that they correct.
add_library(rastel_kernel_flags INTERFACE)
if(RASTEL_FUZZ)
  # The tests of rows run the same kernels with all checks.
  target_compile_options(rastel_kernel_flags INTERFACE -fno-sanitize=undefined)
elseif(RASTEL_SANITIZE MATCHES "undefined")
  # A kernel's unrolled accesses take long to compile: a third of the time without messages, and without the checks of
  # addresses, which the address sanitizer and the tests' guard pages make as well.
  target_compile_options(rastel_kernel_flags INTERFACE
    -fsanitize-trap=undefined -fno-sanitize=object-size,pointer-overflow)
endif()
if(RASTEL_SANITIZE MATCHES "address")
  target_compile_options(rastel_kernel_flags INTERFACE "SHELL:-mllvm -asan-instrumentation-with-call-threshold=0")
endif()

# Compiles the kernel for one target, as a part of the interface library `library`.
function(rastel_add_kernel library name lane lanes flags)
  add_library(rastel_kernel_${name} OBJECT ${PROJECT_SOURCE_DIR}/src/pixels/kernel.cpp)
  target_compile_definitions(rastel_kernel_${name} PRIVATE
    RASTEL_TARGET=${name} RASTEL_LANE=${lane} RASTEL_LANES=${lanes})
  separate_arguments(options UNIX_COMMAND "${flags}")
  # Vectors wider than the registers are passed between internal functions only.
  target_compile_options(rastel_kernel_${name} PRIVATE ${options} -Wno-psabi)
  target_link_libraries(rastel_kernel_${name} PRIVATE rastel_plugin_flags rastel_kernel_flags)
  target_sources(${library} INTERFACE $<TARGET_OBJECTS:rastel_kernel_${name}>)
endfunction()

# Compiles the kernel for every target of this processor, as parts of the interface library `library`, and lists them
# in pixels/target_list.inc for the sources of `user`.
function(rastel_add_kernels library user)
  set(list "// Made by CMake: RASTEL_TARGET(name, condition to run), best first.\n")
  foreach(row IN LISTS RASTEL_TARGETS)
    string(REGEX MATCH "^([^|]*)\\|([^|]*)\\|([^|]*)\\|([^|]*)\\|([^|]*)\\|([^|]*)$" matched "${row}")
    set(name ${CMAKE_MATCH_1})
    set(processors ${CMAKE_MATCH_2})
    set(condition "${CMAKE_MATCH_3}")
    if(processors STREQUAL processor)
      string(APPEND list "RASTEL_TARGET(${name}, ${condition})\n")
      list(APPEND names ${name})
      rastel_add_kernel(${library} ${name} ${CMAKE_MATCH_4} ${CMAKE_MATCH_5} "${CMAKE_MATCH_6}")
    endif()
  endforeach()
  string(APPEND list "RASTEL_TARGET(plain, true)\n")
  set(RASTEL_TARGET_NAMES ${names} plain PARENT_SCOPE)
  file(CONFIGURE OUTPUT pixels/target_list.inc CONTENT "${list}" @ONLY)
  target_include_directories(${user} PRIVATE ${CMAKE_CURRENT_BINARY_DIR})
endfunction()
