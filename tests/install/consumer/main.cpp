#include "Nexo/IpAddr.h"

#include <iostream>

int main() {
    std::cout << Nexo::IpAddr::parse("239.1.1.1").stringValue() << '\n';
}
