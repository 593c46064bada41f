#include "Images/ImageDecoder.h"

int main(int argumentCount, char** arguments) { return qs::ImageDecoder::run(argumentCount, arguments); }
