# Dependencies between the engine's folders run one way:
#   board <- eval <- search <- uci, with tablebase beside the search and the
#   tuner (tune) on top. Run as `cmake -DSRC=<src folder> -P include_rooms.cmake`;
#   it fails naming every include in src/board or src/eval that reaches upward.
#
# The exceptions, each for a reason:
#   board/position.h -> eval/net_shape.h: the position holds the network's
#     accumulators, so it needs their widths.
#   board/* -> eval/tables.h: make/unmake and the FEN reader keep the material
#     and piece-square sums up to date from the evaluation's tables.
#   eval/network.cpp -> uci/output.h: the loader prints "Net read" itself, for
#     the engine and for every tool that reads a network.
# Not checked here: the search prints its info lines through uci/output.h.
if(NOT SRC)
  message(FATAL_ERROR "usage: cmake -DSRC=<src folder> -P include_rooms.cmake")
endif()

set(ALLOWED
  "board/position.h -> eval/net_shape.h"
  "board/makemove.cpp -> eval/tables.h"
  "board/position.cpp -> eval/tables.h"
  "eval/network.cpp -> uci/output.h")
set(ABOVE_board eval search uci tune tablebase)
set(ABOVE_eval search uci tune tablebase)

set(failures "")
foreach(room board eval)
  file(GLOB files RELATIVE ${SRC} ${SRC}/${room}/*.h ${SRC}/${room}/*.cpp)
  foreach(file ${files})
    file(STRINGS ${SRC}/${file} includes REGEX "^[ \t]*#[ \t]*include[ \t]*\"")
    foreach(line ${includes})
      string(REGEX REPLACE "^[^\"]*\"([^\"]*)\".*$" "\\1" header "${line}")
      string(REGEX REPLACE "/.*$" "" target "${header}")
      list(FIND ABOVE_${room} "${target}" above)
      list(FIND ALLOWED "${file} -> ${header}" allowed)
      if(above GREATER -1 AND allowed EQUAL -1)
        string(APPEND failures "  ${file} -> ${header}\n")
      endif()
    endforeach()
  endforeach()
endforeach()

if(failures)
  message(FATAL_ERROR "includes that reach a folder above their own:\n${failures}")
endif()
