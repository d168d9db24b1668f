/* A function that is well in one thread, and not in two. The other functions are those of sdk/template/. */
#include <stdlib.h>
#include <unistd.h>

#include "sdk/RouterSdk.h"

static int s_inside;

/* Several of them, at the same moment. */
static void GoDown(void)
{
    for (int i = 0; i < 100 && __sync_fetch_and_add(&s_inside, 0) < 4; i++) usleep(1000);
    abort();
}

int get_name(char name[32])
{
    if (__sync_fetch_and_add(&s_inside, 1) != 0) GoDown(); /* not for several threads */
    usleep(200 * 1000); /* long enough for a second thread, on a busy machine as well */
    name[0] = '\0';
    __sync_fetch_and_sub(&s_inside, 1);
    return 0;
}
