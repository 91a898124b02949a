// roamer-alert: shows one alert and tells what was answered.

#include "alert_main.h"

int main(int argc, char** argv)
{
    return windows::alertMain(argc, argv);
}
