#pragma once

// Notes a check that doesn't hold.
void check(bool holds, char const * name);

// Makes and uses an object of every class that a host may have to do with.
void everyClass();

// Counts, samples and reads in the second tree, and makes objects of its classes.
void secondTree();
