// Reads a grayscale presentation state with an installed refcntr and prints the line of its
// dump that holds the content label.
#include <iostream>
#include <memory>
#include <sstream>
#include <string>

#include <refcntr/refcntr.h>

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: consumer FILE\n";
        return 2;
    }
    using State = refcntr::GrayscaleSoftcopyPresentationStateCompositeIOD;
    const std::unique_ptr<refcntr::DICOMDataObject> data = refcntr::readDicomFile(argv[1]);
    const std::unique_ptr<State> state(State::create(*data));
    std::istringstream dump(state->toString(0));
    for (std::string line; std::getline(dump, line);)
        if (line.find("itsContentLabelElement") != std::string::npos)
            std::cout << line.substr(line.find("its")) << '\n';
    return 0;
}
