# Turns a text file into a C++ raw string literal to #include:
#   cmake -DIN=page.html -DOUT=page.inc -P embed_text.cmake
file(READ "${IN}" text)
string(FIND "${text}" ")vltr_page\"" clash)
if(NOT clash EQUAL -1)
  message(FATAL_ERROR "${IN} contains the literal's closing sequence")
endif()
file(WRITE "${OUT}" "R\"vltr_page(${text})vltr_page\"\n")
