# Fails when an object built with AVX2 or AVX-512 enabled defines a weak
# (inline or template) symbol that is not specific to that backend. The linker
# keeps one copy of each weak symbol for the whole library; if it kept the
# wide build of a function the baseline code also calls, that code would
# fault on a processor without those instructions.
#   cmake -DNM=<nm> -DOBJECTS="<a.o>|<b.o>|..." -P CheckWideObjects.cmake
string(REPLACE "|" ";" objects "${OBJECTS}")
set(checked 0)
foreach(object IN LISTS objects)
  if(object MATCHES "Avx2\\.cpp\\.o(bj)?$")
    set(backend "avx2")
  elseif(object MATCHES "Avx512\\.cpp\\.o(bj)?$")
    set(backend "avx512")
  else()
    continue()
  endif()
  math(EXPR checked "${checked} + 1")
  execute_process(COMMAND ${NM} -C --defined-only ${object}
                  OUTPUT_VARIABLE symbols RESULT_VARIABLE status)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${NM} failed on ${object}")
  endif()
  string(REPLACE "\n" ";" lines "${symbols}")
  foreach(line IN LISTS lines)
    # Weak code only: weak data (type descriptors the sanitizers emit, say)
    # is the same whatever instructions the file was built for.
    if(line MATCHES "^[0-9a-fA-F]* [Ww] " AND NOT line MATCHES "simd::${backend}::"
       AND NOT line MATCHES " [Ww] (typeinfo|vtable|guard variable) ")
      message(SEND_ERROR "${object}: shared symbol built for ${backend}: ${line}")
    endif()
  endforeach()
endforeach()
if(checked EQUAL 0)
  message(FATAL_ERROR "no wide object among the library's objects")
endif()
message(STATUS "${checked} wide objects define only backend-specific shared symbols")
