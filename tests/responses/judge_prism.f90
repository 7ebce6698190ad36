! Field tensor of prisms in quadruple precision, by the textbook sum over the eight corners. Reads cases of nine real(8)
! each, x1 x2 y1 y2 z1 z2 of the prism and x y z of the point; writes for each Txx, Tyy, Tzz, Txy, Txz, Tyz, where T is
! the matrix of second derivatives of the integral of 1/r. No point
! lies on the plane of a face. Usage: judge_prism CASES TENSORS
program judge_prism
  implicit none
  integer, parameter :: quad = selected_real_kind(33)
  character(len=1000) :: cases, tensors
  real(8) :: c(9)
  integer :: status

  call get_command_argument(1, cases)
  call get_command_argument(2, tensors)
  open (1, file=cases, access='stream', form='unformatted', status='old', action='read')
  open (2, file=tensors, access='stream', form='unformatted', status='replace')
  do
    read (1, iostat=status) c
    if (status /= 0) exit
    write (2) real(tensor(real(c, quad)), 8)
  end do
contains
  function tensor(c) result(t)
    real(quad), intent(in) :: c(9)
    real(quad) :: t(6), u, v, w, r
    integer :: i, j, k, sign
    t = 0
    do k = 0, 1
      do j = 0, 1
        do i = 0, 1
          sign = 2 * mod(i + j + k, 2) - 1
          u = c(1 + i) - c(7)
          v = c(3 + j) - c(8)
          w = c(5 + k) - c(9)
          r = sqrt(u * u + v * v + w * w)
          t = t + sign * [-atan(v * w / (u * r)), -atan(u * w / (v * r)), -atan(u * v / (w * r)), &
                          line(w, r, u, v), line(v, r, u, w), line(u, r, v, w)]
        end do
      end do
    end do
  end function

  ! ln(along + r), where nothing cancels; a and b are the offsets across.
  real(quad) function line(along, r, a, b)
    real(quad), intent(in) :: along, r, a, b
    if (along >= 0) then
      line = log(along + r)
    else
      line = log((a * a + b * b) / (r - along))
    end if
  end function
end program
