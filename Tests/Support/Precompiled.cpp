// Carries the precompiled headers of the tests; does nothing.
int main() { return 0; }
