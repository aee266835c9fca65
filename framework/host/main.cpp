#include "pemo/ServiceApp.h"

#include <iostream>

POCO_SERVER_MAIN(pemo::ServiceApp)
