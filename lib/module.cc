#include "vesk/module.h"

vk_module_context* vk_module_ctx = nullptr;
