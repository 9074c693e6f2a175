# The locales that the tests convert by, besides C and C.UTF-8, made from the sources in Debian's
# package "locales". Their files serve 32-bit programs as well.
find_program(BIX_LOCALEDEF localedef REQUIRED)
set(BIX_TEST_LOCALES ${CMAKE_BINARY_DIR}/locales)

set(locale_stamps)
foreach(locale de_DE.ISO-8859-1 ja_JP.EUC-JP zh_HK.BIG5-HKSCS)
  string(REPLACE "." ";" parts ${locale})
  list(GET parts 0 language)
  list(GET parts 1 charmap)
  add_custom_command(OUTPUT ${BIX_TEST_LOCALES}/${locale}/LC_CTYPE
    COMMAND ${CMAKE_COMMAND} -E make_directory ${BIX_TEST_LOCALES}
    COMMAND ${BIX_LOCALEDEF} --no-archive -i ${language} -f ${charmap} ${BIX_TEST_LOCALES}/${locale}
    COMMENT "Making the locale ${locale}" VERBATIM)
  list(APPEND locale_stamps ${BIX_TEST_LOCALES}/${locale}/LC_CTYPE)
endforeach()
add_custom_target(bix_test_locales DEPENDS ${locale_stamps})

add_dependencies(bix_test_support bix_test_locales)
target_compile_definitions(bix_test_support PUBLIC BIX_TEST_LOCALES="${BIX_TEST_LOCALES}")
