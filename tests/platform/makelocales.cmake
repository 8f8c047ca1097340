# Makes the locales of the encoding tests, which a plain machine does not have, in DIRECTORY. Does
# not fail: the tests that miss a locale do, and show the log written here.

foreach(locale IN ITEMS en_US.UTF-8 en_US.ISO-8859-1 zh_CN.GB18030)
    if(NOT EXISTS "${DIRECTORY}/${locale}/LC_CTYPE")
        string(REPLACE "." ";" parts "${locale}")
        list(GET parts 0 language)
        list(GET parts 1 charset)
        file(MAKE_DIRECTORY "${DIRECTORY}")
        execute_process(COMMAND localedef -i "${language}" -f "${charset}" "${DIRECTORY}/${locale}"
                        OUTPUT_VARIABLE output ERROR_VARIABLE output RESULT_VARIABLE result)
        file(WRITE "${DIRECTORY}/${locale}.log" "localedef: ${result}\n${output}")
    endif()
endforeach()
