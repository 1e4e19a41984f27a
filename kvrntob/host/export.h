// Marks what the host's libraries export. Modules are built with hidden visibility; classes and
// functions of the host keep one identity on both sides of the border through this mark.
#pragma once

#define VORMEL_HOST_API __attribute__((visibility("default")))
