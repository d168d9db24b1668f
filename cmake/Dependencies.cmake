# cJSON and libcrypto: from the system, or from the target's private folder when cross-building.
find_package(Threads REQUIRED)
find_library(CJSON_LIBRARY cjson REQUIRED)
find_path(CJSON_INCLUDE_DIR cjson/cJSON.h REQUIRED)
find_library(CRYPTO_LIBRARY crypto REQUIRED)
find_path(CRYPTO_INCLUDE_DIR openssl/aes.h REQUIRED)

add_library(plug_cjson INTERFACE)
target_include_directories(plug_cjson SYSTEM INTERFACE ${CJSON_INCLUDE_DIR})
target_link_libraries(plug_cjson INTERFACE ${CJSON_LIBRARY})

# The low-level AES_* and MD5_* calls are deprecated since OpenSSL 3 but cost 2 MB less memory than EVP,
# and are all that the libcrypto of older routers has.
#
# Of the archive only AES and MD5 come into the program. The shared library costs 0.4 MB of private memory instead: the
# loader writes an address into each of its tables. A program says with its property PLUG_STATIC_CRYPTO which it takes;
# tests take the shared one, because they put procedures of their own in front of it.
find_library(CRYPTO_ARCHIVE libcrypto.a)
set(static_crypto OFF)
if(CRYPTO_ARCHIVE AND CMAKE_BUILD_TYPE STREQUAL MinSizeRel AND NOT PLUG_SANITIZE)
  set(static_crypto ON)
endif()
option(PLUG_STATIC_CRYPTO "take AES and MD5 from libcrypto.a into the agent" ${static_crypto})
if(PLUG_STATIC_CRYPTO AND NOT CRYPTO_ARCHIVE)
  message(FATAL_ERROR "PLUG_STATIC_CRYPTO: there is no libcrypto.a")
endif()

add_library(plug_crypto INTERFACE)
target_include_directories(plug_crypto SYSTEM INTERFACE ${CRYPTO_INCLUDE_DIR})
target_compile_definitions(plug_crypto INTERFACE OPENSSL_SUPPRESS_DEPRECATED)
target_link_libraries(plug_crypto INTERFACE
  $<IF:$<BOOL:$<TARGET_PROPERTY:PLUG_STATIC_CRYPTO>>,${CRYPTO_ARCHIVE},${CRYPTO_LIBRARY}>)
