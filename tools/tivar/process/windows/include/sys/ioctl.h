// What is asked of terminals is declared before every file.
#pragma once
