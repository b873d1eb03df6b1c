#include <stdio.h>
#include <vesk/vesk.h>

int main(void) { return puts(vk_strerror(VK_EINVAL)) < 0; }
