// The program that says hello with the standard library alone.
#include <iostream>

int main() { std::cout << "Hello, world!" << std::endl; }
