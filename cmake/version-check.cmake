# The version lives in project() alone; the files that must repeat it (the
# Debian changelog, CHANGES, the README) are checked against it here.
# SPDX-License-Identifier: MIT
file(STRINGS ${PROJECT_SOURCE_DIR}/debian/changelog debian_line LIMIT_COUNT 1)
file(STRINGS ${PROJECT_SOURCE_DIR}/CHANGES changes_lines REGEX "^[0-9]" LIMIT_COUNT 1)
file(STRINGS ${PROJECT_SOURCE_DIR}/README.md readme_lines REGEX "^Version [0-9]" LIMIT_COUNT 1)
foreach(line "${debian_line}" "${changes_lines}" "${readme_lines}")
    if(NOT line MATCHES "(^|[ (])${PROJECT_VERSION}([^0-9.]|$)")
        message(FATAL_ERROR "Version ${PROJECT_VERSION} is not the one of: ${line}")
    endif()
endforeach()
