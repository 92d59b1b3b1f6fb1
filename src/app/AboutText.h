#pragma once

#include <QString>

// Lento's version, the libraries it is built on with the versions found at run time, and its
// licence, as rich text for the Info pane and the About box.
QString aboutText();
