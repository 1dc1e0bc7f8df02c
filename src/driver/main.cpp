// The entry of pelorus.
#include "driver/driver.h"
#include "driver/output_stream.h"
#include "driver/signals.h"

int main(int argc, char** argv) {
    pelorus::provide_standard_streams();
    pelorus::install_signal_handlers();
    return pelorus::run_optimizer(argc, argv);
}
