#pragma once
// The entry point: picks the compare, primitives, offline render or interactive mode and sets up
// the application-wide look.

namespace app {

int run(int argc, char **argv);

} // namespace app
