# Writes what a build is of into OUTPUT, and touches it only where that has changed.
#   cmake -DSOURCE=... -DOUTPUT=... -DCOMMIT=... -DARCHITECTURE=... -P build-identity.cmake
set(state "")
if(NOT COMMIT AND EXISTS "${SOURCE}/.git")
  find_program(git git)
  if(git)
    execute_process(COMMAND ${git} -C ${SOURCE} rev-parse --short=12 HEAD OUTPUT_VARIABLE COMMIT
                    OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
    execute_process(COMMAND ${git} -C ${SOURCE} status --porcelain --untracked-files=no
                    OUTPUT_VARIABLE changes RESULT_VARIABLE failure ERROR_QUIET)
    execute_process(COMMAND ${git} -C ${SOURCE} rev-list --count HEAD OUTPUT_VARIABLE number
                    OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
    if(NOT failure)
      set(state clean)
      if(changes)
        set(state modified)
      endif()
    endif()
  endif()
endif()
set(text "#define VANTRY_BUILD_NUMBER \"${number}\"
#define VANTRY_BUILD_COMMIT \"${COMMIT}\"
#define VANTRY_BUILD_SOURCE_STATE \"${state}\"
#define VANTRY_BUILD_ARCHITECTURE \"${ARCHITECTURE}\"
")
set(before "")
if(EXISTS ${OUTPUT})
  file(READ ${OUTPUT} before)
endif()
if(NOT before STREQUAL text)
  file(WRITE ${OUTPUT} "${text}")
endif()
