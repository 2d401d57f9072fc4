# The project's licence, stated once for the LV2 description, the CMake
# package, the pkg-config file and the installed LICENSE.
include_guard(GLOBAL)
set(Q38_LICENSE_SPDX "ISC")
set(Q38_LICENSE_URI "https://spdx.org/licenses/${Q38_LICENSE_SPDX}")
set(Q38_LICENSE_FILE "${CMAKE_CURRENT_LIST_DIR}/../LICENSE")
