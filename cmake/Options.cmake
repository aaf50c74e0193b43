# Compiler settings that every target of the project shares.
add_library(varkel_options INTERFACE)
target_compile_options(varkel_options INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror)
target_include_directories(varkel_options INTERFACE ${PROJECT_SOURCE_DIR}/VarkelAgent)
target_compile_definitions(varkel_options INTERFACE BOOST_ASIO_SEPARATE_COMPILATION BOOST_ASIO_NO_DEPRECATED)

if(VARKEL_SANITIZERS)
    # Whole-program options: a standard library header instantiated without them would hide a fault.
    add_compile_options(-fsanitize=${VARKEL_SANITIZERS} -fno-omit-frame-pointer -fno-sanitize-recover=all -g1 -O1)
    add_link_options(-fsanitize=${VARKEL_SANITIZERS})
    # At this level of optimisation the compiler inlines only one half of a coroutine frame's own allocation.
    add_compile_options($<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wno-mismatched-new-delete>)
    if(VARKEL_SANITIZERS MATCHES undefined)
        # Opens descriptors to look at an object, and takes every object for a fault when none are left.
        add_compile_options(-fno-sanitize=vptr)
    endif()
    if(VARKEL_SANITIZERS MATCHES thread)
        # Boost's thread fences are outside what the sanitizer models; every access they order is atomic.
        add_compile_options(-Wno-tsan)
    endif()
endif()

if(VARKEL_COVERAGE)
    # Counters that several threads write at once must not lose counts.
    add_compile_options(--coverage -O1 -fprofile-update=atomic)
    add_link_options(--coverage)
endif()
