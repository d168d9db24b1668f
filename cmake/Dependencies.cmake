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
add_library(plug_crypto INTERFACE)
target_include_directories(plug_crypto SYSTEM INTERFACE ${CRYPTO_INCLUDE_DIR})
target_compile_definitions(plug_crypto INTERFACE OPENSSL_SUPPRESS_DEPRECATED)
target_link_libraries(plug_crypto INTERFACE ${CRYPTO_LIBRARY})
