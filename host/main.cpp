#include "application/application.h"

int main(int argumentCount, char** arguments) { return lumorender::runApplication(argumentCount, arguments); }
