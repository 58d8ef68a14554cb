#!perl
print "Content-type: text/plain\n\nsearch\n";
