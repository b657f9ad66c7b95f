# Fails when README does not hold the text of EXAMPLE: what newcomers copy is then not what the tests run.

cmake_minimum_required(VERSION 3.25)

file(READ ${README} readme)
file(READ ${EXAMPLE} example)
string(FIND "${readme}" "${example}" position)
if(position EQUAL -1)
  message(FATAL_ERROR "${README} does not show ${EXAMPLE} as it is.")
endif()
