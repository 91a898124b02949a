// roamer-window: draws the agent's progress window, in a process that a dying display may take along.

#include "window_main.h"

int main(int argc, char** argv)
{
    return windows::windowMain(argc, argv);
}
