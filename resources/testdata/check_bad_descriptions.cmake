# Runs make_template on broken descriptions: each run must end with exit code 1 (not a signal),
# an error message that says what is wrong, and no generated source left behind.
# Variables: TOOL, TESTDATA, DESCRIPTION (the real description), WORK (a scratch folder).
file(MAKE_DIRECTORY ${WORK})
set(good_currencies ${DESCRIPTION}/currencies.json)
set(good_language ${DESCRIPTION}/en.json)

function(expect_failure expected)
  file(REMOVE ${WORK}/data.cc)
  execute_process(COMMAND ${TOOL} ${WORK} ${WORK}/data.cc ${ARGN}
                  RESULT_VARIABLE rc ERROR_VARIABLE err OUTPUT_QUIET)
  if(NOT rc STREQUAL "1")
    message(FATAL_ERROR "make_template ${ARGN}: expected exit code 1, got '${rc}'\n${err}")
  endif()
  if(NOT err MATCHES "make_template: error: .*${expected}")
    message(FATAL_ERROR "make_template ${ARGN}: expected a message with '${expected}', got\n${err}")
  endif()
  if(EXISTS ${WORK}/data.cc)
    message(FATAL_ERROR "make_template ${ARGN}: left a generated source behind")
  endif()
endfunction()

expect_failure("missing.json: cannot be read" ${TESTDATA}/missing.json ${good_language})
expect_failure("broken.json: not valid JSON: .*line 2" ${TESTDATA}/broken.json ${good_language})
expect_failure("currencies\\[1\\].code repeats USD" ${TESTDATA}/duplicate_code.json
               ${good_language})
expect_failure("account.currency names no currency of the list: XYZ" ${good_currencies}
               ${TESTDATA}/unknown_currency.json)
expect_failure("categories\\[0\\].children\\[1\\] must be a name or an object" ${good_currencies}
               ${TESTDATA}/bad_category.json)
expect_failure("language en is described twice" ${good_currencies} ${good_language}
               ${good_language})
