#include "functions/FwVersionReport.h"

int dev_fwversion_report()
{
    return -1;
}
