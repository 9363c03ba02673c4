// Korvane MSPC, Multivariate Statistical Process Control
//Partial Least Squares C/C++/C# deployment code
//  Data used in estimation: plant.csv
// C deployment of PLS models is not supported (for all types of models)
// in this version.Please contact Velmora to obtain the most updated version
// of the MSPC module, and for details on C deployment of PLS models.
