#include "rules/eaccess.h"

int StartEaccess()
{
    return 0;
}
