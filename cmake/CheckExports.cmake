# Fails when libkerna.so exports a symbol outside the library's interface: everything must be in
# Tessaran:: (but not its platform layer), a Kerna_ function, a global-namespace short log
# function, one of the exported older classes (CTime, CMutex, CGuard, CPacket, IPacketManager), or
# the standard library's instantiations. The source-level interfaces (CIntervalSet,
# setPacketFailCallback, the include-version check, the older thread, timer, semaphore and file
# classes) come with the static companion library and must not be exported.
#
#   -DLIB=<libkerna.so>       check the library's export table
#   -DREJECT=<file>           check the check: every line of the file (a line as
#                             `nm -D --defined-only -C` prints it) must be rejected

# Sets ${out} to TRUE when the demangled symbol `sym` may be exported.
function(kerna_export_allowed sym out)
  # Strip the usual prefixes of vtables, typeinfo, guard variables.
  string(REGEX REPLACE "^(vtable for |typeinfo for |typeinfo name for |VTT for |guard variable for |non-virtual thunk to |virtual thunk to )" "" name "${sym}")
  # A template function is shown with its return type first.
  if(name MATCHES "^[A-Za-z_0-9:*& ]+ ((std|__gnu_cxx|Tessaran)::.*)$")
    set(name "${CMAKE_MATCH_1}")
  elseif(name MATCHES "^decltype \\(.*\\) ((std|__gnu_cxx)::.*)$")
    set(name "${CMAKE_MATCH_1}")
  endif()
  set(allowed FALSE)
  if(name MATCHES "Detail::Platform"
     OR name MATCHES "^Tessaran::Utils::CIntervalSet([(:]|$)"
     OR name MATCHES "^Tessaran::Memory::setPacketFailCallback\\("
     OR name MATCHES "^Tessaran::Kerna::(CCheckIncludeVersionInter|CCheckIncludeVersionOff)([(:]|$)")
    set(allowed FALSE)
  elseif(name MATCHES "^Tessaran::" OR name MATCHES "^Kerna_" OR name MATCHES "^std::" OR name MATCHES "^__gnu_cxx::"
         OR name MATCHES "^(logFatal|logError|logWarn|logInfo|logTrace|logDebug)\\("
         OR name MATCHES "^(CTime|CMutex|CGuard|CPacket|IPacketManager)([(:]|$)"
         OR name MATCHES "^(_init|_fini|_edata|_end|__bss_start)$"
         OR name MATCHES "^__(odr_asan|asan|tsan|ubsan|sanitizer)"
         OR name MATCHES "^operator (new|delete)")
    set(allowed TRUE)
  endif()
  set(${out} ${allowed} PARENT_SCOPE)
endfunction()

# The demangled symbols of `lines` (as `nm -D --defined-only -C` prints them, with or without
# address and type) that may be exported go to ${allowedOut}, the others to ${rejectedOut}.
function(kerna_classify_exports lines allowedOut rejectedOut)
  set(allowedList "")
  set(rejectedList "")
  foreach(line ${lines})
    string(REGEX REPLACE "^[0-9a-f]+ [A-Za-z] " "" sym "${line}")
    if(sym STREQUAL "" OR sym MATCHES "^#")
      continue()
    endif()
    kerna_export_allowed("${sym}" allowed)
    if(allowed)
      list(APPEND allowedList "${sym}")
    else()
      list(APPEND rejectedList "${sym}")
    endif()
  endforeach()
  set(${allowedOut} "${allowedList}" PARENT_SCOPE)
  set(${rejectedOut} "${rejectedList}" PARENT_SCOPE)
endfunction()

if(DEFINED REJECT)
  file(STRINGS ${REJECT} lines)
  kerna_classify_exports("${lines}" passed rejected)
  if(passed)
    string(REPLACE ";" "\n" passed "${passed}")
    message(FATAL_ERROR "the export check lets these source-level symbols pass:\n${passed}")
  endif()
  return()
endif()

execute_process(COMMAND nm -D --defined-only -C ${LIB} OUTPUT_VARIABLE out RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "nm failed on ${LIB}")
endif()
string(REPLACE "\n" ";" lines "${out}")
kerna_classify_exports("${lines}" allowed bad)
if(bad)
  string(REPLACE ";" "\n" bad "${bad}")
  message(FATAL_ERROR "symbols exported outside the interface:\n${bad}")
endif()
