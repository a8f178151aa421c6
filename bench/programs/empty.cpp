// Links what a host links, and does nothing.
#include <unistd.h>

int main() { return write(STDOUT_FILENO, "!", 1) == 1 ? 0 : 1; }
