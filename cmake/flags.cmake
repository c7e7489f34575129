# Flags of every target of the project, gathered in the interface library rastel_flags.
add_library(rastel_flags INTERFACE)
target_compile_options(rastel_flags INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor
  # Designated initialisers leave the rest of a record zero on purpose.
  -Wno-missing-field-initializers -Werror)

# What is sanitized is compiled with these options: everything, but for the fuzzer, whose host and oracle are to be fast.
add_library(rastel_sanitized INTERFACE)
if(RASTEL_SANITIZE)
  target_compile_options(rastel_sanitized INTERFACE
    -fsanitize=${RASTEL_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer
    # Methods are called through addresses found at run time, as a real host does.
    -fno-sanitize=function)
  target_link_options(rastel_flags INTERFACE -fsanitize=${RASTEL_SANITIZE})
endif()
if(NOT RASTEL_FUZZ)
  target_link_libraries(rastel_flags INTERFACE rastel_sanitized)
endif()
