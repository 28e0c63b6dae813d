# Writes the layout of the records as JSON, from the texts in an object file:
#
#   cmake -DOBJECT=<object of layout.c> -DOUTPUT=<file> -DVERSION=<version> -DPROCESSOR=<name> -DORDER=<byte order> -P layout.cmake
file(STRINGS ${OBJECT} lines REGEX "LAYOUT [0-9]+ [0-9]+ ")
foreach(line IN LISTS lines)
  if(NOT line MATCHES "LAYOUT 0*([0-9]+) 0*([0-9]+) ([A-Za-z_0-9*]+)\\.?([A-Za-z_0-9]*)$")
    message(FATAL_ERROR "${OBJECT}: not a line of a layout: ${line}")
  endif()
  set(first ${CMAKE_MATCH_1})
  set(size ${CMAKE_MATCH_2})
  set(record ${CMAKE_MATCH_3})
  set(field ${CMAKE_MATCH_4})
  if(record MATCHES "^\\*(.*)")
    set(size_of_${CMAKE_MATCH_1} ${size})
  elseif(field)
    math(EXPR order "100000 + ${first}") # so that texts sort as numbers do
    list(APPEND fields_of_${record} "${order} \"${field}\": {\"offset\": ${first}, \"size\": ${size}}")
  else()
    list(APPEND records ${record})
    set(head_of_${record} "\"size\": ${size}, \"alignment\": ${first}")
  endif()
endforeach()
if(NOT records)
  message(FATAL_ERROR "${OBJECT}: holds no layout; was it compiled for link-time optimisation?")
endif()

list(SORT records)
set(shown)
foreach(record IN LISTS records)
  list(SORT fields_of_${record})
  list(TRANSFORM fields_of_${record} REPLACE "^[0-9]+ " "      ")
  list(JOIN fields_of_${record} ",\n" fields)
  list(APPEND shown "    \"${record}\": {\n      ${head_of_${record}}, \"fields\": {\n${fields}\n    }}")
endforeach()
list(JOIN shown ",\n" shown)
string(TOLOWER "${ORDER}" ORDER)
string(REPLACE "_endian" "" ORDER "${ORDER}")
file(WRITE ${OUTPUT} "{
  \"version\": \"${VERSION}\",
  \"target\": {\"processor\": \"${PROCESSOR}\", \"byte_order\": \"${ORDER}\", \"pointer\": ${size_of_pointer}, \"timeval\": ${size_of_timeval}},
  \"records\": {
${shown}
  }
}
")
