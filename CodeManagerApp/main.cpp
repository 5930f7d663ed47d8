#include "CodeManagerApp/Application.h"

int main(int argc, char* argv[]) { return CodeManagerApp::run(argc, argv); }
