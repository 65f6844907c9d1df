# mc_codes.cmake -- writes mc.h's block of result code constants from include/mc_codes.def.
#   cmake -DMC_CODES=<mc_codes.def> -DMC_HEADER=<mc.h> [-DCHECK=ON] -P mc_codes.cmake
# The block lies between the lines "/* ---- result codes: generated ..." and "/* ---- end of
# result codes ---- */". With CHECK=ON the header is left alone and the script fails when its
# block differs from what the list gives.
set(begin_marker "/* ---- result codes: generated from mc_codes.def by cmake/mc_codes.cmake; edit the list, not this block ---- */")
set(end_marker "/* ---- end of result codes ---- */")

file(STRINGS "${MC_CODES}" lines REGEX "^MC_CODE\\(")
set(block "${begin_marker}\n")
foreach(line IN LISTS lines)
  if(NOT line MATCHES "^MC_CODE\\(([A-Z_]+), *(0x[0-9A-Fa-f]+), *\"([^\"]*)\"\\)$")
    message(FATAL_ERROR "${MC_CODES}: bad entry: ${line}")
  endif()
  set(name "${CMAKE_MATCH_1}")
  set(value "${CMAKE_MATCH_2}")
  set(meaning "${CMAKE_MATCH_3}")
  string(LENGTH "${name}" length)
  set(pad "")
  if(length LESS 24)
    math(EXPR count "24 - ${length}")
    string(REPEAT " " ${count} pad)
  endif()
  string(APPEND block "#define ${name}${pad} ${value}u /* ${meaning} */\n")
endforeach()
string(APPEND block "${end_marker}")

file(READ "${MC_HEADER}" header)
string(FIND "${header}" "${begin_marker}" begin)
string(FIND "${header}" "${end_marker}" end)
if(begin EQUAL -1 OR end EQUAL -1 OR end LESS begin)
  message(FATAL_ERROR "${MC_HEADER}: the result code markers are missing")
endif()
string(LENGTH "${end_marker}" end_length)
math(EXPR after "${end} + ${end_length}")
string(SUBSTRING "${header}" 0 ${begin} head)
string(SUBSTRING "${header}" ${after} -1 tail)
set(updated "${head}${block}${tail}")

if(CHECK)
  if(NOT updated STREQUAL header)
    message(FATAL_ERROR "${MC_HEADER} is out of date with ${MC_CODES}: "
                        "run cmake --build <build> --target mc_codes_header")
  endif()
elseif(NOT updated STREQUAL header)
  file(WRITE "${MC_HEADER}" "${updated}")
  message(STATUS "Updated the result codes of ${MC_HEADER}")
endif()
