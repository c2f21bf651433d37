#include "search/control.h"

TimeControl timeControl;
SearchFlag stopFlag;
SearchFlag ponderingFlag;
SearchFlag infiniteFlag;
SearchFlag timeUpFlag;
bool searchOutputEnabled = true;
