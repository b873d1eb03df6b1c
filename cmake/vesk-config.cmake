include(${CMAKE_CURRENT_LIST_DIR}/vesk-targets.cmake)
