#include <iostream>

// The least that a C++ program does.
int main() {
    std::cout << "{}\n";
}
