# SPDX-License-Identifier: MIT
# ORVAAccount's setServersWithGlobalHost_... checks what a host sets by the same rules, in
# src/config/Servers.cpp.
foreach(host IN ITEMS ORX_GLOBAL_HOST ORX_CHINA_HOST ORX_DEVELOPMENT_HOST)
  if(NOT ${host} MATCHES "^[A-Za-z0-9]([A-Za-z0-9.-]*[A-Za-z0-9])?(:([0-9]+))?$"
     OR CMAKE_MATCH_3 GREATER 65535
     OR CMAKE_MATCH_3 MATCHES "^0+$")
    message(FATAL_ERROR "${host} is '${${host}}', which is no host name")
  endif()
endforeach()
# It goes into the envelopes as it stands, so it can hold neither "&" nor the "%" of a place to fill.
if(NOT ORX_SERVICE_NAMESPACE MATCHES "^[A-Za-z0-9._~:/?#@!$'()*+,=-]+$")
  message(FATAL_ERROR "ORX_SERVICE_NAMESPACE is '${ORX_SERVICE_NAMESPACE}', which is no namespace")
endif()
