# SPDX-License-Identifier: MIT
# How our own code is compiled: linked by every target of ours, never handed on to a user's.
add_library(ssdp_flags INTERFACE)
target_compile_features(ssdp_flags INTERFACE cxx_std_17)
target_compile_options(ssdp_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wconversion
  -fvisibility=hidden -fvisibility-inlines-hidden -fno-plt -ffunction-sections
  # Failure lines name the file relative to the source tree, and the same source gives the same
  # bytes, wherever it was built.
  -ffile-prefix-map=${PROJECT_BINARY_DIR}=build -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=)
if(LIBSSDP_WERROR)
  target_compile_options(ssdp_flags INTERFACE -Werror)
endif()
if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
  target_compile_options(ssdp_flags INTERFACE -Wthread-safety)
endif()
if(LIBSSDP_SANITIZE)
  target_compile_options(ssdp_flags INTERFACE
    -fsanitize=${LIBSSDP_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(ssdp_flags INTERFACE -fsanitize=${LIBSSDP_SANITIZE})
endif()
