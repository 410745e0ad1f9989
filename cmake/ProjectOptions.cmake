# Compiler settings shared by every target of the project.
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

add_compile_options(-Wall -Wextra)
if(ORR_WERROR)
  add_compile_options(-Werror)
endif()

if(ORR_SANITIZE)
  add_compile_options(-fsanitize=${ORR_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${ORR_SANITIZE})
  if(ORR_SANITIZE MATCHES "thread" AND CMAKE_CROSSCOMPILING)
    add_link_options(-static-libtsan)
  endif()
endif()

# SIMD flags: x86-64 has SSE2 in its baseline and aarch64 always has NEON.
if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
  set(ORR_ARCH_X86_64 ON)
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "aarch64|arm64")
  set(ORR_ARCH_AARCH64 ON)
endif()
