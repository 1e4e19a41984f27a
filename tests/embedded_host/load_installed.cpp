// Loads the module that is installed with the host library, whichever copy of the library the
// dynamic linker takes. Prints the module's path, or why it was not found.
#include <iostream>

#include "embedded_host/interpreter/interpreter.h"
#include "embedded_host/messages/host_exception.h"

int main() {
  vormel::Interpreter& host = vormel::Interpreter::instance();
  try {
    host.loadModule();
    std::cout << host.modules().at(0).path << '\n';
    return 0;
  } catch (const vormel::HostError& failure) {
    std::cout << failure.identifier() << ": " << failure.what() << '\n';
    return 1;
  }
}
