// RouteProgram.cpp - the agent's port forwarding as a program, with the real outside world: carries out the document on
// each line of its input and prints the result. An empty line ends it.
#include <cstdio>
#include <cstring>

#include "rules/PortForward.h"

static char s_line[65536];

int main()
{
    while (fgets(s_line, sizeof s_line, stdin)) {
        s_line[strcspn(s_line, "\n")] = '\0';
        if (s_line[0] == '\0') return 0;
        printf("%d\n", ParseRouteParam(s_line));
        fflush(stdout);
    }
    return 1;
}
