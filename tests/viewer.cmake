# The viewer: its HTTP suite links the request handler and talks to the
# built rpl-toc over sockets; its browser suite drives the page in headless Chromium
# through Selenium, with Debian's chromium, chromium-driver and
# python3-selenium (scripts/install-deps.sh test installs them).
if(TARGET test_viewer_http AND TARGET rpl_toc_view)
  # cpp-httplib as a client only: the server is libmicrohttpd's.
  find_package(PkgConfig REQUIRED)
  pkg_check_modules(HTTPLIB_CLIENT REQUIRED IMPORTED_TARGET cpp-httplib)
  target_compile_definitions(test_viewer_http PRIVATE
    RPL_TOC_BINARY="$<TARGET_FILE:rpl-toc>"
    RPL_EXAMPLES_DIR="${PROJECT_SOURCE_DIR}/examples")
  target_link_libraries(test_viewer_http PRIVATE rpl_toc_view rpl_test_rpl_toc PkgConfig::HTTPLIB_CLIENT)
  add_dependencies(test_viewer_http rpl-toc)
endif()

# One refusal through both front ends: the built rpl-toc and the handler.
if(TARGET test_refusal_words AND TARGET rpl_toc_view)
  target_compile_definitions(test_refusal_words PRIVATE
    RPL_TOC_BINARY="$<TARGET_FILE:rpl-toc>"
    RPL_EXAMPLES_DIR="${PROJECT_SOURCE_DIR}/examples")
  target_link_libraries(test_refusal_words PRIVATE rpl_toc_view rpl_test_rpl_toc)
  add_dependencies(test_refusal_words rpl-toc)
endif()

if(TARGET rpl-toc)
  # Debian's python3, which has python3-selenium, before any other on PATH.
  find_program(RPL_SYSTEM_PYTHON3 python3 PATHS /usr/bin NO_DEFAULT_PATH)
  find_program(RPL_SYSTEM_PYTHON3 python3)
  add_test(NAME viewer_browser
    COMMAND ${RPL_SYSTEM_PYTHON3} ${CMAKE_CURRENT_SOURCE_DIR}/browser/test_viewer_browser.py
            --rpl-toc $<TARGET_FILE:rpl-toc> --examples ${PROJECT_SOURCE_DIR}/examples
            --out ${CMAKE_CURRENT_BINARY_DIR}/browser)
  # One browser at a time keeps the two cores free for the other suites.
  set_tests_properties(viewer_browser PROPERTIES LABELS browser TIMEOUT 1200 RUN_SERIAL ON)
endif()

# Saves of other programs during a reload or a change: the viewer's
# functions called without a socket.
if(TARGET test_outside_saves AND TARGET rpl_toc_view)
  target_link_libraries(test_outside_saves PRIVATE rpl_toc_view)
  target_link_libraries(test_viewer_live PRIVATE rpl_toc_view)
endif()
