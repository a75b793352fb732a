# Runs the example and checks its file: PROGRAM writes into the directory PLACE with LIBRARY.
cmake_minimum_required(VERSION 3.25)
file(REMOVE_RECURSE ${PLACE})
file(MAKE_DIRECTORY ${PLACE})
set(picture ${PLACE}/picture.bmp)

function(expect what found wanted)
  if(NOT found STREQUAL wanted)
    message(FATAL_ERROR "${what}: found ${found} instead of ${wanted}")
  endif()
endfunction()

# bytes of the file, in hexadecimal.
function(expect_bytes what offset wanted)
  string(LENGTH ${wanted} digits)
  math(EXPR count "${digits} / 2")
  file(READ ${picture} found OFFSET ${offset} LIMIT ${count} HEX)
  expect("${what}" ${found} ${wanted})
endfunction()

execute_process(COMMAND ${PROGRAM} ${picture} ${LIBRARY} RESULT_VARIABLE result)
expect("exit code" ${result} 0)
file(SIZE ${picture} size)
math(EXPR wanted "54 + 4 * 256 + 256 * 192")
expect("size of the file" ${size} ${wanted})
expect_bytes("type, size and start of the pixels" 0 424d36c400000000000036040000)
expect_bytes("header" 14 2800000000010000c00000000100080000000000)
expect_bytes("colours 0 to 2" 54 80ff000080fe010080fd0200)
expect_bytes("colour 255" 1074 8000ff00)
# Column x of row y, counted from the bottom, holds the colour x XOR y.
expect_bytes("row 0" 1078 0001020304050607)
expect_bytes("row 5" 2358 0504070601000302)
expect_bytes("row 33, of the second band" 9526 2120232225242726)
expect_bytes("row 191, the last one" 49974 bfbebdbcbbbab9b8)

# What cannot be written is an error and leaves nothing.
execute_process(COMMAND ${PROGRAM} ${PLACE}/none/picture.bmp ${LIBRARY}
  RESULT_VARIABLE result ERROR_VARIABLE errors)
expect("exit code without a directory" ${result} 1)
if(NOT errors MATCHES "cannot open the file \\(code 303\\)")
  message(FATAL_ERROR "no word about the missing directory: ${errors}")
endif()
execute_process(COMMAND ${PROGRAM} RESULT_VARIABLE result ERROR_QUIET)
expect("exit code without a name" ${result} 2)

file(REMOVE_RECURSE ${PLACE})
