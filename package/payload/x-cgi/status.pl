#!perl
print "Content-type: text/plain\n\nstatus\n";
