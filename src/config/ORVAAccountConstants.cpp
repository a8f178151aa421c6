#include <ORXAccount/ORVAAccountConstants.h>

const double ORXAccountVersionNumber = 1.0;
const unsigned char ORXAccountVersionString[] = "@(#)PROGRAM:ORXAccount  PROJECT:ORXFrameworks-1\n";
