// The entry of pelorus.
#include "driver/driver.h"

int main(int argc, char** argv) { return pelorus::run_optimizer(argc, argv); }
