// pdud: the daemon's entry point. (Start-up is being built.)
int main() { return 0; }
