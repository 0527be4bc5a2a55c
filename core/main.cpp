#include "core/dashboard_main.h"

int main(int argc, char** argv) {
    return dashboard::dashboard_main(argc, argv);
}
