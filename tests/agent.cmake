# The tests of what stands around the library: the module runtime, the modules, the core.

if(VESK_RUNTIME)
  vesk_test(runtime
    unit/runtime/answer_fault_test.cc
    unit/runtime/client_open_test.cc
    unit/runtime/client_test.cc
    unit/runtime/fake_core.cc
    unit/runtime/libc_watch.cc
    unit/runtime/line_test.cc
    unit/runtime/message_test.cc
    unit/runtime/module_begin_test.cc
    unit/runtime/module_call_test.cc
    unit/runtime/module_fd_test.cc
    unit/runtime/module_handler_test.cc
    unit/runtime/module_loss_test.cc
    unit/runtime/module_main_test.cc
    unit/runtime/module_nesting_test.cc
    unit/runtime/module_serving_test.cc
    unit/runtime/module_test_base.cc
    unit/runtime/module_time_test.cc
    unit/runtime/scan_limits_test.cc
    unit/runtime/scan_test.cc)
  target_link_libraries(runtime_tests PRIVATE vesk_runtime_objects)
  target_link_options(runtime_tests PRIVATE -Wl,--wrap=send -Wl,--wrap=recv
                      -Wl,--wrap=getsockopt -Wl,--wrap=geteuid -Wl,--wrap=clock_gettime
                      -Wl,--wrap=poll -Wl,--wrap=eventfd)
endif()

if(VESK_CORE)
  set(asio <asio/awaitable.hpp> <asio/co_spawn.hpp> <asio/io_context.hpp>
      <asio/local/stream_protocol.hpp> <asio/steady_timer.hpp>)

  # The core, with real sockets and scripted peers in one process.
  vesk_test(core
    unit/core/access_test.cc
    unit/core/agent_test.cc
    unit/core/alarm_test.cc
    unit/core/attach_test.cc
    unit/core/bytes_test.cc
    unit/core/charged_heap_test.cc
    unit/core/core_fixture.cc
    unit/core/dispatch_test.cc
    unit/core/handlers_test.cc
    unit/core/gone_client_test.cc
    unit/core/hook_test.cc
    unit/core/limits_test.cc
    unit/core/log_test.cc
    unit/core/module_clock_test.cc
    unit/core/module_random_test.cc
    unit/core/module_turns_test.cc
    unit/core/notify_test.cc
    unit/core/one_shot_test.cc
    unit/core/options_check_test.cc
    unit/core/options_test.cc
    unit/core/patterns_test.cc
    unit/core/room_test.cc
    unit/core/socket_file_test.cc
    unit/core/stop_test.cc
    unit/core/store_service_test.cc
    unit/core/tree_test.cc
    unit/core/trimmer_test.cc
    unit/core/turns_test.cc)
  target_link_libraries(core_tests PRIVATE vesk_core)
  target_precompile_headers(core_tests PRIVATE ${asio})

  # Its allocations refused one by one.
  vesk_test(core_memory
    support/counted_new.cc
    unit/core/core_fixture.cc
    unit/core/want_of_memory_test.cc)
  target_link_libraries(core_memory_tests PRIVATE vesk_core)
  target_precompile_headers(core_memory_tests PRIVATE ${asio})

  # The data-model manager, with a router that plays modules.
  vesk_test(manager
    support/scripted_router.cc
    unit/core/manager_abandoned_test.cc
    unit/core/manager_attributes_test.cc
    unit/core/manager_hooks_test.cc
    unit/core/manager_inform_test.cc
    unit/core/manager_kept_test.cc
    unit/core/manager_memory_test.cc
    unit/core/manager_names_test.cc
    unit/core/manager_notifications_test.cc
    unit/core/manager_objects_test.cc
    unit/core/manager_path_test.cc
    unit/core/manager_set_test.cc
    unit/core/manager_set_together_test.cc
    unit/core/manager_tree_test.cc
    unit/core/manager_turns_test.cc
    unit/core/manager_values_test.cc
    unit/core/manager_walk_test.cc)
  target_link_libraries(manager_tests PRIVATE vesk_core)
  target_precompile_headers(manager_tests PRIVATE ${asio})

  # The store, without the kit: its counting of memory knows one thread only.
  add_executable(store_tests
    unit/core/store_aside_test.cc
    unit/core/store_commit_test.cc
    unit/core/store_crash_test.cc
    unit/core/store_damage_test.cc
    unit/core/store_disk.cc
    unit/core/store_fault_test.cc
    unit/core/store_file_test.cc
    unit/core/store_test.cc)
  target_link_libraries(store_tests PRIVATE vesk_core GTest::gmock_main)
  target_precompile_headers(store_tests PRIVATE <gmock/gmock.h> <gtest/gtest.h> ${asio} <filesystem>
                            <future>)
  target_link_options(store_tests PRIVATE -Wl,--wrap=flock)
  add_test(NAME store COMMAND store_tests --gtest_brief=1)
  set_tests_properties(store PROPERTIES TIMEOUT 300)
endif()

# The modules' programs without runtime and core: their `main`s go by other names, and the kit has a
# `vk_module_main` that hands their descriptors to the tests.
if(VESK_MODULES)
  set(modules ${PROJECT_SOURCE_DIR}/modules)
  add_library(module_programs OBJECT
    ${modules}/deviceinfo/main.cc
    ${modules}/deviceinfo/processes.cc
    ${modules}/deviceinfo/snapshot.cc
    ${modules}/network/addresses.cc
    ${modules}/network/changes.cc
    ${modules}/network/hosts.cc
    ${modules}/network/interfaces.cc
    ${modules}/network/main.cc
    ${modules}/network/netlink.cc
    ${modules}/network/text.cc
    ${modules}/scratch/scratch.c
    ${modules}/support/system_files.cc)
  foreach(main deviceinfo/main.cc network/main.cc scratch/scratch.c)
    get_filename_component(module ${main} DIRECTORY)
    set_source_files_properties(${modules}/${main} PROPERTIES
                                COMPILE_DEFINITIONS main=${module}_main)
  endforeach()
  target_include_directories(module_programs PRIVATE ${PROJECT_SOURCE_DIR}
                             ${PROJECT_SOURCE_DIR}/include)
  target_compile_options(module_programs PRIVATE
    $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions;-fno-rtti;-fno-threadsafe-statics>)
  target_link_libraries(module_programs PRIVATE vesk_compile)

  vesk_test(modules
    unit/modules/addresses_test.cc
    unit/modules/changes_test.cc
    unit/modules/deviceinfo_test.cc
    unit/modules/hosts_test.cc
    unit/modules/interfaces_test.cc
    unit/modules/kernel_tables_test.cc
    unit/modules/netlink_test.cc
    unit/modules/network_test.cc
    unit/modules/network_text_test.cc
    unit/modules/network_watch_test.cc
    unit/modules/object_builder_test.cc
    unit/modules/processes_test.cc
    unit/modules/program.cc
    unit/modules/scratch_storage_test.cc
    unit/modules/scratch_test.cc
    unit/modules/snapshot_test.cc
    unit/modules/system_files_test.cc)
  target_link_libraries(modules_tests PRIVATE module_programs)
endif()

if(VESK_CORE AND VESK_MODULES)
  add_subdirectory(e2e/agent)
endif()
