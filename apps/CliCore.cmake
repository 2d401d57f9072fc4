# q38_cli_core: what q38 is built on and other programs may reuse: the
# parameter table, the factory presets and the render of one file or many
# with libsndfile, metered for loudness with libebur128. The LV2 bundle's
# presets are written from it too.
include_guard(GLOBAL)

find_package(PkgConfig REQUIRED)
pkg_check_modules(SNDFILE REQUIRED IMPORTED_TARGET sndfile)
pkg_check_modules(EBUR128 REQUIRED IMPORTED_TARGET libebur128)

set(dir ${CMAKE_CURRENT_LIST_DIR}/q38)
add_library(q38_cli_core STATIC
  ${dir}/cli_Parameters.cpp
  ${dir}/cli_FactoryPresets.cpp
  ${dir}/cli_AudioFile.cpp
  ${dir}/cli_Progress.cpp
  ${dir}/cli_Loudness.cpp
  ${dir}/cli_Render.cpp
  ${dir}/cli_Batch.cpp)
target_include_directories(q38_cli_core PUBLIC ${dir})
target_link_libraries(q38_cli_core PUBLIC q38_host PkgConfig::SNDFILE PkgConfig::EBUR128)
