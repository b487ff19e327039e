# Every dependency comes from Debian's packages (scripts/setup.sh installs them).

find_package(jsoncpp CONFIG REQUIRED)
if(NOT TARGET JsonCpp::JsonCpp)
  message(FATAL_ERROR "jsoncpp's CMake package did not define JsonCpp::JsonCpp")
endif()

find_package(PkgConfig REQUIRED)
# Header-only: boost::shared_ptr in <arx/csp_rule.h>.
find_package(Boost 1.74 REQUIRED)
# The URL matcher of the CSP rule store (libarx_pcre), loaded on first use.
pkg_check_modules(PCRECPP REQUIRED IMPORTED_TARGET libpcrecpp)

if(ARX_BUILD_TESTS)
  find_package(GTest REQUIRED)
  pkg_check_modules(CURL REQUIRED IMPORTED_TARGET libcurl)
endif()

# The platform loads libcrypt, libcrypto and libjson-c on first use and
# links none of them.  Tests (signing tokens, reading session objects) and
# the sample that filters sessions link them directly.
if(ARX_BUILD_TESTS OR ARX_BUILD_CGI)
  find_package(OpenSSL REQUIRED COMPONENTS Crypto)
  pkg_check_modules(JSONC REQUIRED IMPORTED_TARGET json-c)
endif()
