# Writes a header naming the embedded network by its checksum, so that a
# compiler cache sees a new source whenever the network file changes (the
# assembler's .incbin reads the file behind the preprocessor's back).
# Usage: cmake -DNET=<network file> -DOUT=<header> -P network_id.cmake
file(SHA256 "${NET}" sum)
set(text "// network ${sum}\n")
if(EXISTS "${OUT}")
  file(READ "${OUT}" old)
endif()
if(NOT old STREQUAL text)
  file(WRITE "${OUT}" "${text}")
endif()
