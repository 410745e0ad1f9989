# Key and initialisation vector of the encrypted configuration container.
# The values below are the project's development default; a product build passes its own,
# e.g. -DORR_CONF_AES_KEY=<64 hex digits> -DORR_CONF_AES_IV=<32 hex digits>, so that a
# maker's key never has to be committed. Both end up in a generated header of the build tree
# that only the configuration module reads.
set(ORR_CONF_AES_KEY "87461957a37699522568376115a232c81ef3dfbc04997b10ede653bcd68004b5"
    CACHE STRING "AES-256 key of encrypted configuration files (64 hex digits)")
set(ORR_CONF_AES_IV "bfd852fbd9e438718bec88e7655f76cc"
    CACHE STRING "AES-CBC initialisation vector of encrypted configuration files (32 hex digits)")

function(orr_conf_hex_to_bytes var hex digits out)
  if(NOT hex MATCHES "^[0-9a-fA-F]+$")
    message(FATAL_ERROR "${var} must be hexadecimal digits only, got \"${hex}\"")
  endif()
  string(LENGTH "${hex}" length)
  if(NOT length EQUAL digits)
    message(FATAL_ERROR "${var} must have exactly ${digits} hex digits, got ${length}")
  endif()
  string(REGEX REPLACE "([0-9a-fA-F][0-9a-fA-F])" "0x\\1, " bytes "${hex}")
  set(${out} "${bytes}" PARENT_SCOPE)
endfunction()

orr_conf_hex_to_bytes(ORR_CONF_AES_KEY "${ORR_CONF_AES_KEY}" 64 ORR_CONF_AES_KEY_BYTES)
orr_conf_hex_to_bytes(ORR_CONF_AES_IV "${ORR_CONF_AES_IV}" 32 ORR_CONF_AES_IV_BYTES)

set(ORR_CONF_GENERATED_DIR ${CMAKE_CURRENT_BINARY_DIR}/generated/conf)
configure_file(${CMAKE_CURRENT_LIST_DIR}/ConfAesKeyMaterial.h.in ${ORR_CONF_GENERATED_DIR}/ConfAesKeyMaterial.h @ONLY)
target_include_directories(orr_conf PRIVATE ${ORR_CONF_GENERATED_DIR})
