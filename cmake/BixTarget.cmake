# What every target of this project is built with: language level, warnings, sanitizers.

find_program(BIX_CCACHE ccache)
if(BIX_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER AND PROJECT_IS_TOP_LEVEL)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${BIX_CCACHE})
endif()

# Large files and times beyond 2038 on 32-bit targets, for the library and its tests alike.
set(BIX_PLATFORM_DEFINITIONS _FILE_OFFSET_BITS=64 _TIME_BITS=64)

function(bix_sanitize target)
  if(BIX_SANITIZE)
    target_compile_options(${target} PRIVATE
      -fsanitize=${BIX_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all
      # What the sanitizers add hides from the compiler that a variable has been set.
      $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
    target_link_options(${target} PRIVATE -fsanitize=${BIX_SANITIZE})
  endif()
endfunction()

function(bix_configure_target target)
  target_compile_features(${target} PRIVATE cxx_std_20)
  target_compile_definitions(${target} PRIVATE ${BIX_PLATFORM_DEFINITIONS})
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic
    $<$<BOOL:${BIX_WARNINGS_AS_ERRORS}>:-Werror>)
  bix_sanitize(${target})
endfunction()
