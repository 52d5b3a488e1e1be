# Fails when libkerna.so exports a symbol outside the library's interface: everything must be in
# Tessaran:: (but not its platform layer), a Kerna_ function, a global-namespace short log
# function or older class, or the standard library's instantiations.
execute_process(COMMAND nm -D --defined-only -C ${LIB} OUTPUT_VARIABLE out RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "nm failed on ${LIB}")
endif()
string(REPLACE "\n" ";" lines "${out}")
set(bad "")
foreach(line ${lines})
  string(REGEX REPLACE "^[0-9a-f]+ [A-Za-z] " "" sym "${line}")
  if(sym STREQUAL "")
    continue()
  endif()
  # Strip the usual prefixes of vtables, typeinfo, guard variables.
  string(REGEX REPLACE "^(vtable for |typeinfo for |typeinfo name for |VTT for |guard variable for |non-virtual thunk to |virtual thunk to )" "" name "${sym}")
  # A template function is shown with its return type first.
  if(name MATCHES "^[A-Za-z_0-9:*& ]+ ((std|__gnu_cxx|Tessaran)::.*)$")
    set(name "${CMAKE_MATCH_1}")
  elseif(name MATCHES "^decltype \\(.*\\) ((std|__gnu_cxx)::.*)$")
    set(name "${CMAKE_MATCH_1}")
  endif()
  if(name MATCHES "Detail::Platform")
    list(APPEND bad "${sym}")
  elseif(name MATCHES "^Tessaran::" OR name MATCHES "^Kerna_" OR name MATCHES "^std::" OR name MATCHES "^__gnu_cxx::"
         OR name MATCHES "^(logFatal|logError|logWarn|logInfo|logTrace|logDebug)\\("
         OR name MATCHES "^(CTime|CMutex|CGuard|CPacket|IPacketManager|CSemaphore|CThread|CTimer|CFile)[(:]"
         OR name MATCHES "^(_init|_fini|_edata|_end|__bss_start)$"
         OR name MATCHES "^__(odr_asan|asan|tsan|ubsan|sanitizer)"
         OR name MATCHES "^operator (new|delete)")
    continue()
  else()
    list(APPEND bad "${sym}")
  endif()
endforeach()
if(bad)
  string(REPLACE ";" "\n" bad "${bad}")
  message(FATAL_ERROR "symbols exported outside the interface:\n${bad}")
endif()
