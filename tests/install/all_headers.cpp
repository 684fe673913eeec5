// Every installed header, compiled as C++ against the installed tree only.
#include <veltrane/host.h>
#include <veltrane/support.h>
#include <veltrane/veltrane.h>

int main() { return 0; }
