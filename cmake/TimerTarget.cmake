# SPDX-License-Identifier: MIT
# The settings that every target of this tree shares.

add_library(timer_settings INTERFACE)
target_compile_features(timer_settings INTERFACE cxx_std_20)
target_compile_options(timer_settings INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
target_compile_definitions(timer_settings INTERFACE QT_NO_CAST_FROM_ASCII QT_NO_FOREACH QT_NO_KEYWORDS)
# Includes are written from the root: "vault/vault.h".
target_include_directories(timer_settings INTERFACE "${PROJECT_SOURCE_DIR}")
if(TIMER_SANITIZE)
    target_compile_options(timer_settings INTERFACE -fsanitize=address,undefined -fno-sanitize-recover=undefined
                                                    -fno-omit-frame-pointer)
    target_link_options(timer_settings INTERFACE -fsanitize=address,undefined)
endif()
if(TIMER_BUILD_FUZZERS)
    target_compile_options(timer_settings INTERFACE -fsanitize=fuzzer-no-link) # counts what was reached
endif()
