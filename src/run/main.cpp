#include "Entry.h"

int main(int argc, char** argv) { return kelvo_main(argc, argv); }
