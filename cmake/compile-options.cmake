# The options that every target of this project is compiled with.
add_library(reader-options INTERFACE)

target_compile_options(reader-options INTERFACE
    $<$<COMPILE_LANGUAGE:CXX>:-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Werror>
    # Source positions in log lines and exceptions are relative to the project.
    -fmacro-prefix-map=${CMAKE_SOURCE_DIR}/=)
target_compile_definitions(reader-options INTERFACE
    # 64-bit times and file offsets on 32-bit targets too: a controller outlives the year 2038.
    _TIME_BITS=64 _FILE_OFFSET_BITS=64)
target_link_options(reader-options INTERFACE -Wl,--as-needed)

if(CMAKE_UNITY_BUILD)
    # What files name for themselves alone doesn't hide what others do.
    target_compile_options(reader-options INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-Wno-shadow>)
endif()

if(READER_STATIC_RUNTIME)
    if(READER_SANITIZERS)
        message(FATAL_ERROR "A sanitizer needs the shared runtime: READER_STATIC_RUNTIME=OFF")
    endif()
    # So that only the functions that are called get into the daemon.
    target_compile_options(reader-options INTERFACE -ffunction-sections -fdata-sections)
endif()

if(READER_HARDENING)
    set(CMAKE_POSITION_INDEPENDENT_CODE ON)
    target_compile_options(reader-options INTERFACE
        -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2 -fstack-protector-strong -fPIE)
    target_link_options(reader-options INTERFACE -pie -Wl,-z,relro,-z,now)
endif()

if(READER_SANITIZERS)
    target_compile_options(reader-options INTERFACE
        -fsanitize=${READER_SANITIZERS} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(reader-options INTERFACE -fsanitize=${READER_SANITIZERS})
    if(READER_SANITIZERS MATCHES thread AND CMAKE_CXX_COMPILER_ID STREQUAL GNU)
        # Boost.Asio uses fences, which the sanitizer doesn't follow.
        target_compile_options(reader-options INTERFACE -Wno-tsan)
    endif()
endif()

if(READER_COVERAGE)
    # Several threads count; without atomics a count can end below zero, which gcovr refuses.
    target_compile_options(reader-options INTERFACE --coverage -fprofile-update=atomic -O0)
    target_link_options(reader-options INTERFACE --coverage)
endif()
