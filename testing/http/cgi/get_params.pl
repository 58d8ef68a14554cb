#!/usr/bin/perl
# get_params.pl as a Quorix server runs it, reduced to what a client of the
# configuration library meets: a configuration file by its Show key, the
# unimod file packed (four bytes of plain length, least significant first,
# then a zlib stream), the status page of a server whose service is down, and
# plain error statuses.
#
# The path in front of /cgi/ picks the server's state:
#   /down/...    the service isn't running: the status page for every key
#   /broken/...  the packed file is damaged
#   /slow/...    a byte every half second for half a minute
#   /auth/...    the user the server let in
#   .../proxyauth/...  a proxy that asks for credentials
#   anything else  a running server
use strict;
use warnings;
use Compress::Zlib;

my %files = (
    QX_QUORIX_DAT          => 'quorix.dat',
    QX_ENZYMES             => 'enzymes',
    QX_FRAGMENTATION_RULES => 'fragmentation_rules',
    QX_MASSES              => 'masses',
    QX_MOD_FILE            => 'mod_file',
    QX_SUBSTITUTIONS       => 'substitutions',
    QX_UNIMODXML_COMPRESSED => 'unimod.xml',
    QX_TAXONOMY            => 'taxonomy',
);

sub reply {
    my ($status, $type, $body) = @_;
    binmode STDOUT;
    print "Status: $status\r\nContent-Type: $type\r\nContent-Length: " . length($body) . "\r\n\r\n$body";
    exit 0;
}

my %query;
for my $pair (split /&/, $ENV{QUERY_STRING} // '') {
    my ($k, $v) = split /=/, $pair, 2;
    $query{$k} = $v // '';
}
my $path = $ENV{REQUEST_URI} // '';

if ($path =~ m{^/down/}) {
    reply('200 OK', 'text/html',
          "<HTML>\r\n<BODY><H1>Quorix search status page</H1>\r\n"
          . "<P>The Quorix service is not running.</P>\r\n</BODY>\r\n</HTML>\r\n");
}

reply('200 OK', 'text/plain', "user=$ENV{REMOTE_USER}\n") if $path =~ m{^/auth/};
if ($path =~ m{/proxyauth/}) {
    # A proxy that wants credentials: 407 until they come, then who came.
    if (!defined $ENV{QX_PROXY_AUTH}) {
        binmode STDOUT;
        print "Status: 407 Proxy Authentication Required\r\nProxy-Authenticate: Basic realm=\"qx\"\r\n"
            . "Content-Type: text/plain\r\nContent-Length: 0\r\n\r\n";
        exit 0;
    }
    require MIME::Base64;
    reply('200 OK', 'text/plain', 'proxy=' . MIME::Base64::decode_base64($ENV{QX_PROXY_AUTH}) . "\n");
}
if ($path =~ m{^/slow/}) {
    # A server that answers a byte at a time, never quite stalling.
    $| = 1;
    binmode STDOUT;
    print "Status: 200 OK\r\nContent-Type: text/plain\r\n\r\n";
    for (1 .. 60) { print "x"; select(undef, undef, undef, 0.5); }
    exit 0;
}

my $show = $query{Show} // '';
reply('400 Missing Show', 'text/plain', "no Show key\n") if $show eq '';
my $name = $files{$show};
reply('404 Not Found', 'text/plain', "unknown key $show\n") unless defined $name;

my $dir = $ENV{QX_CONFIG_DIR} // '.';
open(my $fh, '<:raw', "$dir/$name") or reply('500 Internal Server Error', 'text/plain', "cannot read $name\n");
my $data = do { local $/; <$fh> };
close $fh;

if ($show eq 'QX_UNIMODXML_COMPRESSED') {
    my $packed = pack('V', length $data) . compress($data);
    $packed = pack('V', length $data) . 'not a zlib stream' if $path =~ m{^/broken/};
    reply('200 OK', 'application/octet-stream', $packed);
}
reply('200 OK', 'text/plain', $data);
