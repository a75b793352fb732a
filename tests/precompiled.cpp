// The program whose precompiled headers the tests share: see CMakeLists.txt.
int main() {}
