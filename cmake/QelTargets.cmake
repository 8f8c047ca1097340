# What every target of this project has in common.

set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/lib")
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/bin")

add_library(qel_common INTERFACE)
target_compile_features(qel_common INTERFACE cxx_std_17)
target_include_directories(qel_common INTERFACE "${PROJECT_SOURCE_DIR}")
target_compile_options(qel_common INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion
    $<$<BOOL:${QEL_WERROR}>:-Werror>)

# Sanitizers reach every object of the build, or their reports have holes. Lines are counted in src/
# only, whose coverage is what is asked for: counting everywhere doubles the time of the build.
if(QEL_SANITIZE)
    add_compile_options(-fsanitize=${QEL_SANITIZE} -fno-omit-frame-pointer
                        -fno-sanitize-recover=all
                        # g++ takes what instrumentation adds for uses without a value.
                        $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
    add_link_options(-fsanitize=${QEL_SANITIZE})
endif()
if(QEL_COVERAGE)
    add_link_options(--coverage)
endif()

# For folders beside the libraries: instrumented code takes several times as long to compile when it
# is optimised.
macro(qel_compile_quickly)
    if(QEL_SANITIZE)
        add_compile_options(-O0)
    endif()
endmacro()
