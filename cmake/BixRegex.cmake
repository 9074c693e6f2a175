# The engine of the glob filters: PCRE through its C++ interface, or its successor.
#
#   bix_pcrecpp, bix_pcre2    the engines that are there, each with its headers
#   BIX_REGEX_USED            the one that the library is built with
set(BIX_REGEX "" CACHE STRING
  "Engine of the glob filters: pcrecpp, pcre2, or empty for the first of these that is there")
set_property(CACHE BIX_REGEX PROPERTY STRINGS "" pcrecpp pcre2)

# A toolchain that builds for another word size says where its libraries are; those of the machine
# would not fit.
set(places "")
if(BIX_TOOLCHAIN_LIBRARY_DIRECTORIES)
  set(places PATHS ${BIX_TOOLCHAIN_LIBRARY_DIRECTORIES} NO_DEFAULT_PATH)
endif()

function(bix_add_regex_engine name include_directory)
  add_library(bix_${name} INTERFACE IMPORTED GLOBAL)
  if(NOT include_directory STREQUAL "/usr/include")
    target_include_directories(bix_${name} SYSTEM INTERFACE ${include_directory})
  endif()
  target_link_libraries(bix_${name} INTERFACE ${ARGN})
endfunction()

find_path(BIX_PCRECPP_INCLUDE_DIRECTORY pcrecpp.h HINTS ${BIX_TOOLCHAIN_INCLUDE_DIRECTORIES})
find_library(BIX_PCRECPP_LIBRARY pcrecpp ${places})
# The C++ interface is built on it. In places that neither the linker nor the loader knows it has to
# be named, too, although nothing of the library's own asks for it.
find_library(BIX_PCRE_LIBRARY pcre ${places})
if(BIX_PCRECPP_INCLUDE_DIRECTORY AND BIX_PCRECPP_LIBRARY AND BIX_PCRE_LIBRARY)
  if(BIX_TOOLCHAIN_LIBRARY_DIRECTORIES)
    bix_add_regex_engine(pcrecpp ${BIX_PCRECPP_INCLUDE_DIRECTORY}
      ${BIX_PCRECPP_LIBRARY}
      -Wl,--push-state,--no-as-needed ${BIX_PCRE_LIBRARY} -Wl,--pop-state)
  else()
    bix_add_regex_engine(pcrecpp ${BIX_PCRECPP_INCLUDE_DIRECTORY} ${BIX_PCRECPP_LIBRARY})
  endif()
endif()

find_path(BIX_PCRE2_INCLUDE_DIRECTORY pcre2.h HINTS ${BIX_TOOLCHAIN_INCLUDE_DIRECTORIES})
find_library(BIX_PCRE2_LIBRARY pcre2-8 ${places})
if(BIX_PCRE2_INCLUDE_DIRECTORY AND BIX_PCRE2_LIBRARY)
  bix_add_regex_engine(pcre2 ${BIX_PCRE2_INCLUDE_DIRECTORY} ${BIX_PCRE2_LIBRARY})
endif()

set(BIX_REGEX_USED ${BIX_REGEX})
if(NOT BIX_REGEX_USED)
  set(BIX_REGEX_USED pcrecpp)
  if(NOT TARGET bix_pcrecpp AND TARGET bix_pcre2)
    set(BIX_REGEX_USED pcre2)
  endif()
endif()
if(NOT BIX_REGEX_USED MATCHES "^(pcrecpp|pcre2)$")
  message(FATAL_ERROR "BIX_REGEX is '${BIX_REGEX}': it is pcrecpp, pcre2 or empty.")
endif()
if(NOT TARGET bix_${BIX_REGEX_USED})
  message(FATAL_ERROR "The glob filters need ${BIX_REGEX_USED}: on Debian, run script/bootstrap, for "
    "32-bit x86 script/bootstrap --arch i386.")
endif()
